#pragma once

#include "ExpectedBoard.h"
#include "MemoryPart.h"

// Reads the part, which holds the board's bytes, as a whole: it must give the document of what the
// record holds, or be refused as not intact.
void CheckWholeRead(const MemoryPart& part, const ExpectedBoard& board);
