#pragma once

#include "MemoryPart.h"
#include "RecordModel.h"

// Reads the part, which holds the bytes of the model, as a whole: it must give the document of what
// the record holds, or be refused as not intact.
void CheckWholeRead(const MemoryPart& part, const RecordModel& model);
