// tests/scripted/debugger.h: a debugger whose output a test reads.
#pragma once
#include <string>
#include <vector>

/// A debugger that is attached while the object lives, unless the test says otherwise. One at a time.
struct DebuggerScript {
    DebuggerScript() { s_script = this; }
    ~DebuggerScript() { s_script = nullptr; }
    DebuggerScript(const DebuggerScript&) = delete;
    DebuggerScript& operator=(const DebuggerScript&) = delete;

    bool attached = true;
    /// What was written, piece by piece.
    std::vector<std::string> pieces;
    static inline DebuggerScript* s_script = nullptr;
};
