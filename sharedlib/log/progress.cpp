// sharedlib/log/progress.cpp: nested progress of long operations, shown on one bar that the host draws.
#include "sharedlib/log/progress.h"
#include "sharedlib/log/internal/format.h"
#include <array>
#include <cstdarg>

namespace {

/// Where a scope has done more than it announced; sums of steps may miss 1 by a little.
constexpr float kOverrun = 1.01F;
constexpr std::size_t kStatusSize = 2000;

/// The top of the stack of scopes. Threads that spawn programs without a window open scopes side by side.
thread_local CProgress* t_innermost = nullptr;

} // namespace

CProgressWindow* CProgressWindow::g_pWindow = nullptr;

// Complete before the first position is shown: when the window throws there, the destructor ends the scope.
CProgress::CProgress() : CProgress(t_innermost) {
    setValue(0);
}

CProgress::CProgress(CProgress* parent) : m_parent(parent) {
    if (m_parent != nullptr) {
        m_parent->getExpected(&m_start, &m_range);
    } else if (CProgressWindow::g_pWindow != nullptr) {
        CProgressWindow::g_pWindow->open();
    }
    t_innermost = this;
    m_childStart = m_start;
    m_childRange = m_range;
}

CProgress& CProgress::operator=(CProgress const& other) {
    if (this == &other) {
        return *this;
    }
    m_start = other.m_start;
    m_range = other.m_range;
    m_value = other.m_value;
    m_childStart = other.m_childStart;
    m_childRange = other.m_childRange;
    return *this;
}

CProgress::~CProgress() {
    CProgress** link = &t_innermost;
    while (*link != nullptr && *link != this) {
        link = &(*link)->m_parent;
    }
    *link = m_parent;
    CProgressWindow* const window = CProgressWindow::g_pWindow;
    if (window == nullptr) {
        return;
    }
    if (t_innermost == nullptr) {
        window->close();
    } else if (window->isOverrun() && m_value >= kOverrun) {
        window->setOverrun(false);
    }
}

void CProgress::begin(float fraction) {
    CProgressWindow* const window = CProgressWindow::g_pWindow;
    if (window == nullptr) {
        return;
    }
    if (window->isOverrun()) {
        window->overrunUpdate();
        return;
    }
    float const old = m_value;
    m_value += fraction;
    if (m_value >= kOverrun) {
        setValue(kOverrun);
        return;
    }
    m_childStart = m_start + m_range * old;
    m_childRange = m_range * fraction;
    setValue(old);
}

void CProgress::setValue(float value) {
    CProgressWindow* const window = CProgressWindow::g_pWindow;
    if (window == nullptr) {
        return;
    }
    if (window->isOverrun()) {
        window->overrunUpdate();
    } else if (value >= kOverrun) {
        m_value = kOverrun;
        window->setOverrun(true);
    } else if (value >= 1) {
        window->setPosition(m_start + m_range);
    } else {
        window->setPosition(value <= 0 ? m_start : m_start + m_range * value);
    }
}

void CProgress::setStatus(char const* format, ...) {
    CProgressWindow* const window = CProgressWindow::g_pWindow;
    if (window == nullptr) {
        return;
    }
    std::array<char, kStatusSize> text;
    va_list args;
    va_start(args, format);
    log_format::formatText(text, format != nullptr ? format : "", args);
    va_end(args);
    window->setStatusText(text.data());
}

void CProgress::getExpected(float* start, float* range) const {
    *start = m_childStart;
    *range = m_childRange;
}
