#pragma once

// Shows all of menuEntries as a full-screen menu on the terminal and lets the user change them,
// until the user leaves: by the entry "END", which gives the terminal back, or by F1, which leaves
// it in the screen's modes.
//
// Throws std::runtime_error, with the terminal given back, if the terminal is smaller than 7 rows
// of 71 columns, or if its input is gone (end of file, hang-up). Whatever an entry throws comes out
// with the terminal still in the screen's modes.
void runMenu();
