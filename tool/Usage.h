#pragma once

// Prints the 21 lines of the usage text and the empty line after the first to standard output.
void printUsage();
