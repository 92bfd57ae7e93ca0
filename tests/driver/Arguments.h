#pragma once
// An argument vector built from strings, as main receives it.

#include <string>
#include <vector>

class Arguments {
public:
    Arguments(std::initializer_list<std::string> args) : strings_(args) {}
    int argc() const { return static_cast<int>(strings_.size()); }
    // Rebuilt on every call so that a copied Arguments points at its own strings.
    char** argv()
    {
        pointers_.clear();
        for (std::string& s : strings_) pointers_.push_back(s.data());
        pointers_.push_back(nullptr);
        return pointers_.data();
    }

private:
    std::vector<std::string> strings_;
    std::vector<char*> pointers_;
};
