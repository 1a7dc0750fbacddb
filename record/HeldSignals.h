#pragma once

#include <csignal>

namespace kestrelRecord {

// Holds back every signal that can be held, from hold until destruction. They take effect then.
class HeldSignals
{
public:
    HeldSignals() = default;
    HeldSignals(const HeldSignals&) = delete;
    HeldSignals& operator=(const HeldSignals&) = delete;
    ~HeldSignals();

    // Once for each object.
    void hold();

private:
    bool held = false;
    sigset_t before = {};
};

} // namespace kestrelRecord
