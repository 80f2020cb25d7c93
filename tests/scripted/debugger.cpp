// tests/scripted/debugger.cpp: a debugger whose output a test reads.
#include "tests/scripted/debugger.h"
#include "sharedlib/platform/debugger.h"
#include <gtest/gtest.h>

namespace {

DebuggerScript* s_script = nullptr;

} // namespace

DebuggerScript::DebuggerScript() {
    s_script = this;
}

DebuggerScript::~DebuggerScript() {
    s_script = nullptr;
}

bool platform::debuggerAttached() {
    return s_script != nullptr && s_script->attached;
}

void platform::writeToDebugger(char const* text) {
    ASSERT_NE(s_script, nullptr) << text;
    s_script->pieces.emplace_back(text);
}
