#pragma once

// Writes out what is still buffered for standard output. Throws std::runtime_error if that, or
// anything printed before, could not be written: a result that did not arrive is a failure.
void flushStandardOutput();
