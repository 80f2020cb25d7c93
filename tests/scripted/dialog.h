// tests/scripted/dialog.h: an error box that a test stands in front of.
#pragma once
#include <functional>
#include <string>
#include <vector>

/// Collects the boxes that would have been shown, as "caption: text". Without such an object a box fails the test. One
/// at a time.
class DialogScript {
public:
    DialogScript();
    ~DialogScript();
    DialogScript(const DialogScript&) = delete;
    DialogScript& operator=(const DialogScript&) = delete;

    std::vector<std::string> shown;
    /// What happens while a box is open.
    std::function<void()> whileOpen;
};
