#include "MenuScreen.h"

#include "MenuEntryTable.h"
#include "MessageWatch.h"

#include <algorithm>
#include <curses.h>
#include <memory>
#include <menu.h>
#include <new>
#include <stdexcept>
#include <string>
#include <utility>
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

// One column for each byte, whatever the byte would do to the terminal.
std::string printable(std::string text)
{
    const auto harmful = [](char byte) { return byte < ' ' || byte > '~'; };
    std::replace_if(text.begin(), text.end(), harmful, '?');
    return text;
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

[[noreturn]] void giveUp(const std::string& reason)
{
    endwin();
    throw std::runtime_error(reason);
}

int readKey()
{
    const int key = wgetch(stdscr);
    if (key == ERR)
        giveUp("Error reading from the terminal: its input is gone");
    return key;
}

// One line of the menu: an entry with its value as of the last refresh.
class Line
{
public:
    explicit Line(Menuentry& menuEntry)
        : entry(menuEntry), value(entry.display()), description(Description(value)),
          item(new_item(entry.name.c_str(), description.data()))
    {
        if (!item)
            throw std::bad_alloc();
        if (!entry.selectable)
            item_opts_off(item.get(), O_SELECTABLE);
    }

    // The menu library has no call to replace a description, and keeps a pointer to the text
    // instead of a copy. The old text lives until the item does not point at it any more.
    void Refresh()
    {
        value = entry.display();
        const auto old = std::exchange(description, Description(value));
        item->description.str = description.data();
        item->description.length = static_cast<unsigned short>(description.size() - 1);
    }

    Menuentry& Entry() const
    {
        return entry;
    }

    ITEM* Item() const
    {
        return item.get();
    }

    // As it is stored; the description shows only what is printable.
    const std::string& Value() const
    {
        return value;
    }

private:
    struct FreeItem
    {
        void operator()(ITEM* freed) const
        {
            free_item(freed);
        }
    };

    static std::vector<char> Description(const std::string& value)
    {
        const std::string text = printable(value);
        return std::vector<char>(text.c_str(), text.c_str() + text.size() + 1);
    }

    Menuentry& entry;
    std::string value;
    std::vector<char> description;
    std::unique_ptr<ITEM, FreeItem> item;
};

size_t longestDisplay()
{
    size_t longest = 0;
    for (Menuentry* entry : menuEntries)
        longest = std::max(longest, entry->display().size());
    return longest;
}

class Screen
{
public:
    Screen();
    void Run();

private:
    struct FreeWindow
    {
        void operator()(WINDOW* freed) const
        {
            delwin(freed);
        }
    };

    struct FreeMenu
    {
        void operator()(MENU* freed) const
        {
            unpost_menu(freed);
            free_menu(freed);
        }
    };

    void StartTerminal();
    void MakeMenu();
    void MakeWindow();
    void SetColours();
    void WriteFrame() const;
    void Update();
    void RestoreAfterResize();
    size_t LongestValue() const;
    void FitValueColumn();
    void refreshMenuValues();
    void ClearPrompt() const;
    void Prompt(const std::string& text);
    bool Enter();
    void Execute(Menuentry& command);
    void Edit(const Line& line);

    const size_t maxValueLength; // of an input, as of the start
    MessageWatch messages;
    int rows = 0; // of the terminal, as of the start
    std::vector<std::unique_ptr<Line>> lines;
    std::vector<ITEM*> items; // of the lines, and the terminator that the library requires
    std::unique_ptr<WINDOW, FreeWindow> window;
    std::unique_ptr<MENU, FreeMenu> menu;
    size_t valueColumn = 0; // width
};

Screen::Screen() : maxValueLength(longestDisplay())
{
    StartTerminal();
    MakeMenu();
    SetColours();
    WriteFrame();
    post_menu(menu.get());
    refreshMenuValues();
    Update();
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
        giveUp("the menu needs a terminal of " + std::to_string(kMinRows) + " rows and " +
               std::to_string(kMinColumns) + " columns at least; this one has " +
               std::to_string(rows) + " and " + std::to_string(columns));
    }
}

void Screen::MakeMenu()
{
    for (Menuentry* entry : menuEntries) {
        lines.push_back(std::make_unique<Line>(*entry));
        items.push_back(lines.back()->Item());
    }
    items.push_back(nullptr);

    menu.reset(new_menu(items.data()));
    if (!menu)
        throw std::bad_alloc();
    valueColumn = LongestValue();
    set_menu_mark(menu.get(), "-->");
    set_menu_format(menu.get(), rows - kRowsAroundMenu, 1);
    MakeWindow();
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
void Screen::Update()
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

size_t Screen::LongestValue() const
{
    size_t longest = 0;
    for (const auto& line : lines)
        longest = std::max(longest, line->Value().size());
    return longest;
}

// The library measures the values when the items are handed over, and a longer one would go on in
// the lines below.
void Screen::FitValueColumn()
{
    if (LongestValue() <= valueColumn)
        return;
    valueColumn = LongestValue();
    ITEM* current = current_item(menu.get());
    unpost_menu(menu.get());
    set_menu_items(menu.get(), items.data());
    set_current_item(menu.get(), current);
    post_menu(menu.get());
}

void Screen::refreshMenuValues()
{
    for (const auto& line : lines)
        line->Refresh();
    FitValueColumn();

    // The library draws an item anew only when the current item moves onto it or away from it.
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
    mvaddnstr(rows - 2, kPromptColumn, printable(text).c_str(), room);
    Update();
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
            if (!Enter()) {
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
        Update();
    }
}

// False if the user wants to leave.
bool Screen::Enter()
{
    const auto index = static_cast<size_t>(item_index(current_item(menu.get())));
    const Line& line = *lines.at(index);
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
    Update();
}

// Ends only with Enter, which always writes: there is no key to cancel an edit.
void Screen::Edit(const Line& line)
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
    Update();
}

} // namespace

void runMenu()
{
    Screen().Run();
}
