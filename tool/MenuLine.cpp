#include "MenuLine.h"

#include "PrintableText.h"

#include <algorithm>
#include <new>

MenuLine::MenuLine(Menuentry& menuEntry) : entry(menuEntry), value(entry.display()) {}

void MenuLine::ReadValue()
{
    value = entry.display();
}

ITEM* MenuLine::MakeItem(size_t width)
{
    description.assign(width, ' ');
    item.reset(new_item(entry.name.c_str(), description.c_str()));
    if (!item)
        throw std::bad_alloc();
    if (!entry.selectable)
        item_opts_off(item.get(), O_SELECTABLE);
    return item.get();
}

// The menu library has no call to replace a description, but keeps a pointer to it, not a copy.
void MenuLine::ShowValue()
{
    const std::string text = printableText(value);
    const auto end = std::copy(text.begin(), text.end(), description.begin());
    std::fill(end, description.end(), ' ');
}

Menuentry& MenuLine::Entry() const
{
    return entry;
}

const std::string& MenuLine::Value() const
{
    return value;
}
