// Internal: the utl module's type-table entry, inserted by utl_initialize.
#pragma once

void utl_insertTypeEntries();
