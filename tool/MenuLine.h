#pragma once

#include "CPointer.h"
#include "Menuentry.h"

#include <cstddef>
#include <menu.h>
#include <string>

// One line of the menu: an entry, its value as last read, and the menu library's item that shows
// both.
class MenuLine
{
public:
    // Reads the value. There is no item before the first MakeItem.
    explicit MenuLine(Menuentry& entry);

    // Reads the value again. The item shows the former one until ShowValue.
    void ReadValue();

    // Makes a new item and returns it; the line owns it. The item has room for a value of at most
    // width characters, and is blank until ShowValue. The menu must not have the former item any
    // more. Throws std::bad_alloc.
    ITEM* MakeItem(size_t width);

    // Puts the value, which must fit, into the item.
    void ShowValue();

    Menuentry& Entry() const;

    // As it is stored, where the item shows only what is printable.
    const std::string& Value() const;

private:
    Menuentry& entry;
    std::string value;
    std::string description; // the text that the item points at, always of the full width
    CPointer<ITEM, free_item> item;
};
