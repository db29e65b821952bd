// Internal: what utl_File tells the I/O tracker.
#pragma once

// Makes sure the container singleton exists (utl_File::OpenWrite).
void utl_ioTrackerContainerTouch();
