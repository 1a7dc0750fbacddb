#pragma once

// Prints the 21 lines of the usage text and the empty line behind the first to standard output.
void printUsage();
