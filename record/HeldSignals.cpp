#include "HeldSignals.h"

namespace kestrelRecord {

HeldSignals::~HeldSignals()
{
    if (held)
        sigprocmask(SIG_SETMASK, &before, nullptr);
}

void HeldSignals::hold()
{
    sigset_t all;
    sigfillset(&all);
    held = sigprocmask(SIG_SETMASK, &all, &before) == 0;
}

} // namespace kestrelRecord
