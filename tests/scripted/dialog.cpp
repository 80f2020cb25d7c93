// tests/scripted/dialog.cpp: an error box that a test stands in front of.
#include "tests/scripted/dialog.h"
#include "sharedlib/platform/dialog.h"
#include <gtest/gtest.h>

void platform::showErrorDialog(char const* caption, char const* text, DialogIcon /*icon*/) {
    ASSERT_NE(DialogScript::s_script, nullptr) << "nobody expected the box " << text;
    DialogScript::s_script->shown.push_back(std::string(caption) + ": " + text);
    DialogScript::s_script->whileOpen();
}
