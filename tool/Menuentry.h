#pragma once

#include <functional>
#include <string>

// One element that the tool can show, change or execute: the command line and the menu know the
// elements through these only.
class Menuentry
{
public:
    Menuentry(const std::string& name, const std::string& option,
              std::function<std::string()> display, std::function<void(std::string)> action);
    Menuentry(const Menuentry&) = delete;
    Menuentry& operator=(const Menuentry&) = delete;
    virtual ~Menuentry() = default;

    // Writes the element from its text, or executes the command. Throws std::bad_function_call if
    // there is no action, and whatever the action throws.
    void SetValue(std::string value);

    std::string name;   // the label in the menu
    std::string option; // selects the entry on the command line
    std::function<std::string()> display;
    std::function<void(std::string)> action;
    bool selectable = true; // false: read-only
    bool isCommand = false; // true: executed at once, without a value
};
