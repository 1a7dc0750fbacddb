#pragma once

#include "TemporaryDevice.h"

// The bytes of a freshly formatted record, written out by hand: version 1 is the whole 128-byte
// part, version 2 the first 255 bytes of a 2048-byte part.
Bytes FormattedVersion1();
Bytes FormattedVersion2();

// A 2048-byte part with a formatted record of version 2, the rest as it came from the factory.
Bytes Version2Part();
