#include "StandardOutput.h"

#include <cstdio>
#include <iostream>
#include <stdexcept>

void flushStandardOutput()
{
    if (std::cout.fail() || fflush(stdout) != 0 || ferror(stdout) != 0)
        throw std::runtime_error("Error writing to standard output");
}
