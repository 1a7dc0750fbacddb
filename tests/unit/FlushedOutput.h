#pragma once

#include <iostream>
#include <sstream>
#include <string>
#include <vector>

// Takes what std::cout is given while it lives, in the pieces that are flushed.
class FlushedOutput : public std::stringbuf
{
public:
    FlushedOutput() : target(std::cout.rdbuf(this)) {}
    FlushedOutput(const FlushedOutput&) = delete;
    FlushedOutput& operator=(const FlushedOutput&) = delete;
    ~FlushedOutput() override
    {
        std::cout.rdbuf(target);
    }

    std::vector<std::string> pieces;

protected:
    int sync() override
    {
        pieces.push_back(str());
        str("");
        return 0;
    }

private:
    std::streambuf* target;
};
