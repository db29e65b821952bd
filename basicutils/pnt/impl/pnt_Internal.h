// The module's own calls between its implementation files.
#pragma once

namespace pnt_internal {
// Destroys the debug printer if one was made (pnt_finalize).
void DestroyDebugPrint();
}  // namespace pnt_internal
