#pragma once

#include "Menuentry.h"
#include "VaEeprom.h"

#include <vector>

// The record that all entries show and change. Set before the first of them is used.
extern vantorBoardSupport::VaEeprom* eeprom;

// All elements, in the order of the menu. Neither the entries nor the sequence are ever
// destroyed.
extern std::vector<Menuentry*>& menuEntries;

// Appends the 17 entries to menuEntries. Called once.
void initMenu();
