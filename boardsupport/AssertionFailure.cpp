#include "AssertionFailure.h"

// A release build would otherwise leave the handler undeclared.
#undef NDEBUG
#include <cassert>

namespace vantorBoardSupport {

void FailAssertion(const char* expression, const char* file, unsigned int line,
                   const char* function)
{
    __assert_fail(expression, file, line, function);
}

} // namespace vantorBoardSupport
