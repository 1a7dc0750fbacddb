#include "Menuentry.h"

#include <utility>

Menuentry::Menuentry(const std::string& entryName, const std::string& entryOption,
                     std::function<std::string()> displayFunction,
                     std::function<void(std::string)> actionFunction)
    : name(entryName), option(entryOption), display(std::move(displayFunction)),
      action(std::move(actionFunction))
{
}

void Menuentry::SetValue(std::string value)
{
    action(std::move(value));
}
