// tests/scripted/debugger.cpp: a debugger whose output a test reads.
#include "tests/scripted/debugger.h"
#include "sharedlib/platform/debugger.h"
#include <gtest/gtest.h>

bool platform::debuggerAttached() {
    return DebuggerScript::s_script != nullptr && DebuggerScript::s_script->attached;
}

void platform::writeToDebugger(char const* text) {
    ASSERT_NE(DebuggerScript::s_script, nullptr) << text;
    DebuggerScript::s_script->pieces.emplace_back(text);
}
