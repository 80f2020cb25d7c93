// tests/scripted/dialog.cpp: an error box that a test stands in front of.
#include "tests/scripted/dialog.h"
#include "sharedlib/platform/dialog.h"
#include <gtest/gtest.h>

namespace {

DialogScript* s_script = nullptr;

} // namespace

DialogScript::DialogScript() {
    s_script = this;
}

DialogScript::~DialogScript() {
    s_script = nullptr;
}

void platform::showErrorDialog(char const* caption, char const* text) {
    if (s_script == nullptr) {
        ADD_FAILURE() << "nobody expected the box " << text;
        return;
    }
    s_script->shown.push_back(std::string(caption) + ": " + text);
    if (s_script->whileOpen) {
        s_script->whileOpen();
    }
}
