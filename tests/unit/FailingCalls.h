#pragma once

enum class Call
{
    kRead,
    kWrite,
};

// Makes system calls of one kind fail with the given error: after so many that pass, so many that
// fail. Ends with the object; there can be one at a time.
class FailingCalls
{
public:
    FailingCalls(Call call, long passing, long failing, int error);
    FailingCalls(const FailingCalls&) = delete;
    FailingCalls& operator=(const FailingCalls&) = delete;
    ~FailingCalls();
};
