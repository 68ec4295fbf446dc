#pragma once

// Asks the system to run this process ahead of ordinary desktop programs, so that the call timers and
// the voice path keep their pace on a busy machine. Without the right to do so (an ordinary user), the
// process keeps its priority: that is not an error.
void RaiseProcessPriority();
