// Internal to the uti module: what uti_Init needs of the spawn units.
#pragma once

// Destroys the redirection symbol table (it is made again on next use).
void uti_releaseRedirectionTable();
