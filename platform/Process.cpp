#include "platform/Process.h"

#include <sys/resource.h>

void RaiseProcessPriority() {
    // A small step only: enough to win against background work, never enough to starve the desktop.
    constexpr int HighPriorityNice = -5;
    if (getpriority(PRIO_PROCESS, 0) > HighPriorityNice)
        (void)setpriority(PRIO_PROCESS, 0, HighPriorityNice);
}
