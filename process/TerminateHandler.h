#pragma once

// Makes an exception that nobody catches end the process with the given status and one line on
// standard error, the program's name and the exception's text, instead of a core dump. programName
// must live as long as the process. What was printed on standard output but not flushed is dropped:
// a failed command has no result.
void installTerminateHandler(const char* programName, int status);
