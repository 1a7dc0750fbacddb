#include "MenuScreen.h"

#include "CPointer.h"
#include "MenuEntryTable.h"
#include "MenuLine.h"
#include "MessageWatch.h"
#include "PrintableText.h"

#include <algorithm>
#include <curses.h>
#include <memory>
#include <menu.h>
#include <new>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

constexpr int kMenuWidth = 70;
constexpr int kMenuTop = 3;
constexpr int kMenuLeft = 1;
constexpr int kRowsAroundMenu = 6;
constexpr int kMinRows = kRowsAroundMenu + 1;
constexpr int kMinColumns = kMenuLeft + kMenuWidth;
constexpr int kPromptColumn = 3;

constexpr int kEnter = '\n'; // nl mode turns the Return key into it
constexpr int kDelete = 127;

constexpr short kNormalPair = 1;
constexpr short kUnusedPair = 2;
constexpr short kGreyedPair = 3;

chtype colours(short pair)
{
    return static_cast<chtype>(COLOR_PAIR(pair));
}

// The bytes of a key's code, lowest first, up to the first zero byte: the character of an ordinary
// key, two bytes for a special key, nothing for NUL.
std::string bytesOf(int key)
{
    std::string bytes;
    for (auto rest = static_cast<unsigned int>(key); (rest & 0xFFU) != 0; rest >>= 8)
        bytes += static_cast<char>(rest & 0xFFU);
    return bytes;
}

[[noreturn]] void restoreTerminalAndThrow(const std::string& reason)
{
    endwin();
    throw std::runtime_error(reason);
}

int readKey()
{
    const int key = wgetch(stdscr);
    if (key == ERR)
        restoreTerminalAndThrow("Error reading from the terminal: its input is gone");
    return key;
}

// The greatest length of the texts that textOf makes of what the pointers point at.
template <typename Pointers, typename TextOf>
size_t longest(const Pointers& pointers, TextOf textOf)
{
    size_t length = 0;
    for (const auto& pointer : pointers)
        length = std::max(length, textOf(*pointer).size());
    return length;
}

void closeMenu(MENU* menu)
{
    unpost_menu(menu);
    free_menu(menu);
}

class Screen
{
public:
    Screen();
    void Run();

private:
    void StartTerminal();
    void MakeMenu();
    void MakeWindow();
    void SetColours();
    void WriteFrame() const;
    size_t LongestValue() const;
    void MakeItems();
    void Paint();
    void RestoreAfterResize();
    void FitValueColumn();
    void refreshMenuValues();
    void ClearPrompt() const;
    void Prompt(const std::string& text);
    bool Activate();
    void Execute(Menuentry& command);
    void Edit(const MenuLine& line);

    const size_t maxValueLength; // of an input, as of the start
    MessageWatch messages;
    int rows = 0; // of the terminal, as of the start
    std::vector<std::unique_ptr<MenuLine>> lines;
    std::vector<ITEM*> items; // of the lines, and the terminator that the library requires
    size_t valueWidth = 0;    // of the column; never shrinks
    CPointer<WINDOW, delwin> window;
    CPointer<MENU, closeMenu> menu;
};

Screen::Screen()
    : maxValueLength(longest(menuEntries, [](Menuentry& entry) { return entry.display(); }))
{
    StartTerminal();
    MakeMenu();
    SetColours();
    WriteFrame();
    post_menu(menu.get());
    refreshMenuValues();
    Paint();
}

void Screen::StartTerminal()
{
    initscr();
    clear();
    noecho();
    curs_set(0);
    cbreak();
    nl();
    keypad(stdscr, TRUE);
    start_color();

    rows = getmaxy(stdscr);
    const int columns = getmaxx(stdscr);
    if (rows < kMinRows || columns < kMinColumns) {
        restoreTerminalAndThrow("the menu needs a terminal of " + std::to_string(kMinRows) +
                                " rows and " + std::to_string(kMinColumns) +
                                " columns at least; this one has " + std::to_string(rows) +
                                " and " + std::to_string(columns));
    }
}

void Screen::MakeMenu()
{
    for (Menuentry* entry : menuEntries)
        lines.push_back(std::make_unique<MenuLine>(*entry));
    MakeItems();

    menu.reset(new_menu(items.data()));
    if (!menu)
        throw std::bad_alloc();
    set_menu_mark(menu.get(), "-->");
    set_menu_format(menu.get(), rows - kRowsAroundMenu, 1);
    MakeWindow();
}

size_t Screen::LongestValue() const
{
    return longest(lines, [](const MenuLine& line) { return line.Value(); });
}

void Screen::MakeItems()
{
    valueWidth = LongestValue();
    items.clear();
    for (const auto& line : lines)
        items.push_back(line->MakeItem(valueWidth));
    items.push_back(nullptr);
}

void Screen::MakeWindow()
{
    WINDOW* made = derwin(stdscr, rows - kRowsAroundMenu, kMenuWidth, kMenuTop, kMenuLeft);
    if (made == nullptr)
        throw std::bad_alloc();
    wbkgdset(made, colours(kNormalPair)); // which the menu is erased with
    set_menu_sub(menu.get(), made);
    window.reset(made);
}

void Screen::SetColours()
{
    bkgd(colours(kNormalPair));
    init_pair(kNormalPair, COLOR_WHITE, COLOR_BLUE);
    init_pair(kUnusedPair, COLOR_BLUE, COLOR_YELLOW);
    init_pair(kGreyedPair, COLOR_BLACK, COLOR_BLUE);
    set_menu_fore(menu.get(), colours(kNormalPair) | A_REVERSE);
    set_menu_back(menu.get(), colours(kNormalPair));
    set_menu_grey(menu.get(), colours(kGreyedPair));
}

void Screen::WriteFrame() const
{
    mvaddstr(1, 9, "***** KESTREL *****");
    mvaddstr(rows - 3, 1, "**************");
    mvaddstr(rows - 2, 1, "$> ");
    mvaddstr(rows - 1, 1, "**************");
}

// A message that an entry wrote to standard error stands somewhere on the screen, when that is the
// same terminal, and has moved the cursor away from where curses takes it to be.
void Screen::Paint()
{
    if (messages.TakeWritten())
        clearok(curscr, TRUE);
    refresh();
}

// The screen keeps its size and place. But curses cuts off what no longer fits when the terminal
// shrinks, and nothing brings it back when there is room again.
void Screen::RestoreAfterResize()
{
    const int rowsDownToMenu = kMenuTop + rows - kRowsAroundMenu;
    if (getmaxy(stdscr) < rowsDownToMenu || getmaxx(stdscr) < kMinColumns)
        return;
    unpost_menu(menu.get());
    MakeWindow();
    WriteFrame();
    post_menu(menu.get());
}

// The library measures the values when the items are handed over.
void Screen::FitValueColumn()
{
    if (LongestValue() <= valueWidth)
        return;
    const int current = item_index(current_item(menu.get()));
    unpost_menu(menu.get());
    set_menu_items(menu.get(), nullptr);
    MakeItems();
    set_menu_items(menu.get(), items.data());
    set_current_item(menu.get(), items.at(static_cast<size_t>(current)));
    post_menu(menu.get());
}

void Screen::refreshMenuValues()
{
    for (const auto& line : lines)
        line->ReadValue();
    FitValueColumn();
    for (const auto& line : lines)
        line->ShowValue();

    // The library redraws an item only when the current item moves onto it or away from it.
    const int current = item_index(current_item(menu.get()));
    menu_driver(menu.get(), REQ_FIRST_ITEM);
    for (size_t i = 0; i < lines.size(); ++i)
        menu_driver(menu.get(), REQ_DOWN_ITEM);
    menu_driver(menu.get(), REQ_FIRST_ITEM);
    for (int i = 0; i < current; ++i)
        menu_driver(menu.get(), REQ_DOWN_ITEM);
}

// After the terminal has shrunk there may be no prompt row, and the cursor would be elsewhere.
void Screen::ClearPrompt() const
{
    if (move(rows - 2, kPromptColumn) != ERR)
        clrtoeol();
}

void Screen::Prompt(const std::string& text)
{
    ClearPrompt();
    const int room = std::max(0, getmaxx(stdscr) - kPromptColumn);
    mvaddnstr(rows - 2, kPromptColumn, printableText(text).c_str(), room);
    Paint();
}

void Screen::Run()
{
    for (;;) {
        switch (readKey()) {
        case KEY_F(1):
            return;
        case KEY_DOWN:
            menu_driver(menu.get(), REQ_DOWN_ITEM);
            break;
        case KEY_UP:
            menu_driver(menu.get(), REQ_UP_ITEM);
            break;
        case kEnter:
            if (!Activate()) {
                endwin();
                return;
            }
            break;
        case KEY_RESIZE:
            RestoreAfterResize();
            break;
        default:
            break;
        }
        Paint();
    }
}

// False if the user wants to leave.
bool Screen::Activate()
{
    const auto index = static_cast<size_t>(item_index(current_item(menu.get())));
    const MenuLine& line = *lines.at(index);
    Menuentry& entry = line.Entry();
    if (entry.name == "END")
        return false;
    if (entry.isCommand && entry.selectable)
        Execute(entry);
    else if (entry.selectable)
        Edit(line);
    return true;
}

// The values are not read again: the list shows them as they were until the next edit.
void Screen::Execute(Menuentry& command)
{
    Prompt("Executing " + command.name + " command...");
    command.SetValue("");
    ClearPrompt();
    Paint();
}

// Ends only with Enter, which always writes: there is no key to cancel an edit.
void Screen::Edit(const MenuLine& line)
{
    std::string input = line.Value();
    const auto prompt = [&] { Prompt(line.Entry().name + ": " + input); };
    prompt();
    for (int key = readKey(); key != kEnter; key = readKey()) {
        switch (key) {
        case KEY_DOWN:
        case KEY_UP:
        case KEY_LEFT:
        case KEY_RIGHT:
            break;
        case KEY_RESIZE:
            RestoreAfterResize();
            break;
        case kDelete:
        case KEY_BACKSPACE:
            if (!input.empty())
                input.pop_back();
            break;
        default:
            if (input.size() < maxValueLength)
                input += bytesOf(key);
        }
        prompt();
    }
    line.Entry().SetValue(input);
    refreshMenuValues();
    ClearPrompt();
    Paint();
}

} // namespace

void runMenu()
{
    Screen().Run();
}
