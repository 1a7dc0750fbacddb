#include "PrintableText.h"

#include <algorithm>

std::string printableText(std::string text)
{
    const auto harmful = [](char byte) { return byte < ' ' || byte > '~'; };
    std::replace_if(text.begin(), text.end(), harmful, '?');
    return text;
}
