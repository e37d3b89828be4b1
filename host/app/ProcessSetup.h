#pragma once

namespace host {

/// Puts the process into the state that the telephone relies on, whatever it was started from:
/// descriptors 0, 1 and 2 open (a file that became one of them would be taken for none), no more
/// than 1024 descriptors (`select` can't watch others), no SIGPIPE, nothing made that everybody
/// may write, standard output by the line, and the stop signals blocked in all threads to come.
/// First thing in `main`.
void setUpProcess();

}  // namespace host
