// tests/scripted/dialog.h: an error box that a test stands in front of.
#pragma once
#include <functional>
#include <string>
#include <vector>

/// Collects the boxes that would have been shown, as "caption: text". Without such an object a box fails the test. One
/// at a time.
struct DialogScript {
    DialogScript() { s_script = this; }
    ~DialogScript() { s_script = nullptr; }
    DialogScript(const DialogScript&) = delete;
    DialogScript& operator=(const DialogScript&) = delete;

    std::vector<std::string> shown;
    /// What happens while a box is open.
    std::function<void()> whileOpen = [] {};
    static inline DialogScript* s_script = nullptr;
};
