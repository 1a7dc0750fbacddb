#pragma once

namespace vantorBoardSupport {

// Reports a failed assertion through the system's assertion handler and aborts the process, in
// release builds too. The source position is the caller's to state: it is part of the fixed
// message text and need not be where the call stands.
[[noreturn]] void FailAssertion(const char* expression, const char* file, unsigned int line,
                                const char* function);

} // namespace vantorBoardSupport
