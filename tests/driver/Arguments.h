#pragma once
// An argument vector built from strings, as main receives it.

#include <string>
#include <vector>

class Arguments {
public:
    Arguments(std::initializer_list<std::string> args) : strings_(args)
    {
        for (std::string& s : strings_) pointers_.push_back(s.data());
        pointers_.push_back(nullptr);
    }
    int argc() const { return static_cast<int>(strings_.size()); }
    char** argv() { return pointers_.data(); }

private:
    std::vector<std::string> strings_;
    std::vector<char*> pointers_;
};
