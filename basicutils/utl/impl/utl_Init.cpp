#include "UTI_CoreUtils.h"
#include "uti/UTI_BasicUtils.h"
#include "utl/impl/utl_TypeTable.h"
#include "utl/utl_CommandLine.h"
#include "utl/utl_IOTracker.h"
#include "utl/utl_Version.h"

namespace {
constinit unsigned g_Uses = 0;
}

// On POSIX, sockets need no start-up and no clean-up.
void utl_initialize(int& count) {
  if (!UTI_ModuleEnter(g_Uses, count, "utl")) return;
  utl_insertTypeEntries();
}

void utl_finalize(int& count) {
  if (!UTI_ModuleLeave(g_Uses, count, "utl")) return;
  utl_Version::Destroy();
  // The command line and, under the global lock, its mutex.
  utl_CommandLine::Finalize();
  // The I/O tracker container and, under the global lock, its creation mutex.
  utl_IOTracker_Container::Finalize();
}
