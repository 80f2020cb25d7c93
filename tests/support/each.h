// tests/support/each.h: one function tried on many texts.
#pragma once
#include <initializer_list>
#include <string>
#include <vector>

using Texts = std::vector<std::string>;

/// What `function` makes of each of `texts`, in their order.
template <typename Function>
auto each(Function&& function, std::initializer_list<const char*> texts) {
    std::vector<decltype(function(""))> results;
    for (const char* text : texts) {
        results.push_back(function(text));
    }
    return results;
}
