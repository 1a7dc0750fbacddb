#pragma once

// Opens descriptors 0, 1 and 2 on /dev/null where the caller left them closed. Without this a
// device opened later would get one of their numbers, and the program's own output would be
// written into it. Throws std::system_error if /dev/null cannot be opened.
void openStandardDescriptors();
