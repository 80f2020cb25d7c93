// sharedlib/log/progress.h: nested progress of long operations, shown on one bar that the host draws.
#pragma once
#include "sharedlib/export.h"

/// What a host implements to show progress: one bar, a status text, and something that says "still busy" once the work
/// turns out longer than announced. A derived class installs itself in `g_pWindow`. One thread. What an operation
/// throws goes to whoever reports progress, and the scopes stay in order; at the end of a scope it ends the process.
class SHAREDLIB_API CProgressWindow {
public:
    /// The outermost scope begins.
    virtual void open() = 0;
    /// For the host's own use; the library never calls it.
    virtual void update() = 0;
    /// Shows `text`, which lives for the call; also called during an overrun.
    virtual void setStatusText(char const* text) = 0;
    /// Moves the bar to `position`, normally between 0 and 1.
    virtual void setPosition(float position) = 0;
    /// An overrun begins (`on` true), or the scope that caused it ends.
    virtual void setOverrun(bool on) = 0;
    /// Whether an overrun lasts; asked before every update.
    virtual bool isOverrun() = 0;
    /// Shows that work goes on; called in place of every change of the position while `isOverrun` says true.
    virtual void overrunUpdate() = 0;
    /// The outermost scope has ended.
    virtual void close() = 0;

protected:
    ~CProgressWindow() = default;

    /// The installed window, null for none: then progress is not shown. The host's, which takes it out before it dies.
    static CProgressWindow* g_pWindow;

    friend class CProgress;
};

/// A scope of work that runs from 0 to 1, a local object. Scopes nest as the calls that create them: one created after
/// `begin` fills the part of the bar that the step covers, one created without covers its parent's whole range. Scopes
/// share a stack without a lock, one for each thread; only the thread that drives the window shows progress.
class SHAREDLIB_API CProgress {
public:
    /// Becomes the innermost scope and shows its 0; the outermost one opens the window.
    CProgress();
    CProgress(CProgress const&) = delete;
    /// Takes the other's range and progress; the place in the stack of scopes stays.
    CProgress& operator=(CProgress const& other);
    /// Ends the scope; the last one closes the window. Scopes end in the opposite order of their creation. One that
    /// does not leaves the others in their order.
    ~CProgress();

    /// Announces that the next step covers `fraction` of this scope's work, and shows where it begins. Does nothing
    /// without a window; past 1.01 in all the window goes into overrun.
    void begin(float fraction);
    /// Shows `value`, cut to between 0 and 1, on this scope's part of the bar. 1.01 or more means that the work is
    /// longer than announced: the window goes into overrun until this scope ends.
    void setValue(float value);
    /// Shows a text of at most 1,999 characters, formatted as by printf with the logger's rules; null counts as "".
    void setStatus(char const* format, ...);
    /// Does nothing; the destructor ends a scope.
    void end() {}

private:
    explicit CProgress(CProgress* parent);
    void getExpected(float* start, float* range) const;

    CProgress* m_parent;
    float m_start = 0;
    float m_range = 1;
    float m_value = 0;
    float m_childStart;
    float m_childRange;
};
