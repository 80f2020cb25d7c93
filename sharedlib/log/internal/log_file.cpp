// sharedlib/log/internal/log_file.cpp: naming, opening, moving, writing and flushing of one log file.
#include "sharedlib/log/internal/log_file.h"
#include "sharedlib/log/logger.h"
#include "sharedlib/platform/clock.h"
#include "sharedlib/util/clock.h"
#include "sharedlib/util/paths.h"
#include <algorithm>
#include <charconv>
#include <cstring>
#include <limits>
#include <new>
#include <utility>

namespace {

constexpr std::size_t kMaxText = 4094;
constexpr std::size_t kMinDigits = 5;
constexpr int kMaxAttempts = 1000;
constexpr std::string_view kExtension = ".txt";

// What follows the prefix and its underscore in a file's name.
std::string nameEnding(std::uint64_t number) {
    const std::string digits = std::to_string(number);
    std::string ending(kMinDigits - std::min(kMinDigits, digits.size()), '0');
    ending += digits;
    ending += kExtension;
    return ending;
}

// The decimal number that `text` begins with. One that has no successor in 64 bits is nothing that a log file counted
// up to, and is 0 like a text without digits.
std::uint64_t leadingNumber(std::string_view text) {
    std::uint64_t number = 0;
    const auto result = std::from_chars(text.data(), text.data() + text.size(), number);
    const bool isCount = result.ec == std::errc() && number < std::numeric_limits<std::int64_t>::max();
    return isCount ? number : 0;
}

// The highest number among the names in `folder` that begin with `stem`, 0 when there are none.
std::uint64_t highestNumber(const std::string& folder, const std::string& stem) {
    std::uint64_t highest = 0;
    platform::scanFolder(folder.c_str(), stem, kExtension, [&](std::string_view name) {
        highest = std::max(highest, leadingNumber(name.substr(stem.size())));
    });
    return highest;
}

} // namespace

LogFile::LogFile(Logger* owner, char const* prefix, char const* name) : m_logger(owner), m_name(name) {
    setPrefix(prefix);
}

LogFile::~LogFile() {
    close();
}

void LogFile::setPrefix(char const* prefix) {
    std::string derived = m_name.empty() ? std::string(prefix) : m_name + '_' + prefix;
    if (derived != m_filePrefix) {
        close();
        m_filePrefix = std::move(derived);
        m_opened = false;
    }
}

void LogFile::openIfNeeded() {
    if (m_opened && isFolderUnchanged()) {
        return;
    }
    // Until everything is done: memory may run out, and then the next line tries again.
    m_opened = false;
    const std::string& folderName = m_logger->m_logDirName;
    m_directory = GetOutputPath(folderName.c_str());
    if (!folderName.empty()) {
        ensureDirectoryExists(m_directory.c_str());
    }
    openNumbered(m_directory + '\\' + m_filePrefix + '_');
    m_opened = true;
}

// Whether GetOutputPath of the folder's name still gives m_directory. Asked for every line, so it builds no path: the
// name is fixed, and only an output path in front of it can change.
bool LogFile::isFolderUnchanged() const {
    const std::size_t tail = 1 + m_logger->m_logDirName.size();
    if (m_directory.size() < tail) {
        return true;
    }
    const std::size_t outputLength = m_directory.size() - tail;
    const char* const output = GetGameOutputPath();
    return std::strncmp(output, m_directory.c_str(), outputLength) == 0 && output[outputLength] == '\0';
}

void LogFile::openNumbered(const std::string& base) {
    close();
    // The prefix may name folders of its own.
    const std::size_t split = base.find_last_of("\\/") + 1;
    const std::string folder = NativePath(base.substr(0, split).c_str());
    const std::string stem = base.substr(split);
    const std::string native = folder + stem;
    const bool isFirst = m_fileName.empty();
    std::uint64_t highest = 0;
    for (int attempts = 0; attempts < kMaxAttempts; ++attempts) {
        highest = std::max(highest, highestNumber(folder, stem)) + 1;
        const std::string ending = nameEnding(highest);
        // The scan has seen the names that differ in case only, so the new one need not be looked up without regard to
        // it.
        const int error = openAs(base + ending, native + ending, isFirst);
        // Only a name that somebody else took meanwhile is worth another number; anything else would fail again.
        if (!platform::isNameTaken(error)) {
            return;
        }
    }
}

// Opens the file as `name`: a new one if `isNew`, else the present one, moved there if it can be. Gives an error or 0.
int LogFile::openAs(std::string name, const std::string& native, bool isNew) {
    if (!isNew && m_fileName != name) {
        isNew = platform::renameWithoutReplacing(NativePath(m_fileName.c_str()).c_str(), native.c_str()) != 0;
        if (!isNew) {
            m_fileName = name;
        }
    }
    const auto open = isNew ? &platform::createFile : &platform::openForAppend;
    const int error = open(native.c_str(), m_file);
    if (isNew && error == 0) {
        m_fileName = std::move(name);
        m_lastWritten = '\n';
    }
    return error;
}

// Whether there is a file to write to.
bool LogFile::isReady() {
    try {
        openIfNeeded();
    } catch (const std::bad_alloc&) {
        return false;
    }
    return m_file.isOpen();
}

void LogFile::write(std::string_view text, bool dateFlag, bool isError) {
    if (!isReady()) {
        return;
    }
    if (m_buffer.size() - m_buffered < kWorstLine) {
        flush();
    }
    const std::size_t room = kMaxText - (dateFlag ? appendTimeStamp() : 0);
    appendText(text.substr(0, room));
    appendBytes("\r\n");
    if (mustFlush(isError)) {
        flush();
    }
}

void LogFile::flush() {
    if (!m_file.isOpen() || m_buffered == 0) {
        return;
    }
    std::string_view lineEnd = "\r\n";
    lineEnd.remove_prefix(m_lastWritten == '\n' ? 2 : m_lastWritten == '\r' ? 1 : 0);
    const std::array<std::string_view, 2> pieces{lineEnd, {m_buffer.data(), std::exchange(m_buffered, 0)}};
    std::size_t written = 0;
    platform::writeAll(m_file, pieces, written);
    if (written > lineEnd.size()) {
        m_lastWritten = pieces[1][written - lineEnd.size() - 1];
    } else if (written > 0) {
        m_lastWritten = lineEnd[written - 1];
    }
}

// Appends the local time and a blank and gives their length. The text is made anew once a second.
std::size_t LogFile::appendTimeStamp() {
    const std::int64_t now = platform::systemSeconds();
    if (now != m_stampSecond) {
        m_stampSecond = now;
        platform::localTimeText(now, m_stamp);
        std::replace(std::begin(m_stamp), std::end(m_stamp), '\n', ' ');
    }
    const std::string_view stamp = m_stamp;
    appendBytes(stamp);
    return stamp.size();
}

void LogFile::appendText(std::string_view text) {
    for (std::size_t end = text.find('\n'); end != std::string_view::npos; end = text.find('\n')) {
        appendBytes(text.substr(0, end));
        appendBytes("\r\n");
        text.remove_prefix(end + 1);
    }
    appendBytes(text);
}

void LogFile::appendBytes(std::string_view bytes) {
    std::memcpy(m_buffer.data() + m_buffered, bytes.data(), bytes.size());
    m_buffered += bytes.size();
}

bool LogFile::mustFlush(bool isError) {
    if (isError || m_logger->m_flushOnWrite.load(std::memory_order_relaxed)) {
        return true;
    }
    const std::int64_t interval = m_logger->getSecondsBetweenFlushes();
    if (interval <= 0) {
        return false;
    }
    const std::int64_t last = m_logger->getLastFlush();
    const std::int64_t now = GetSecondsSinceEpoch();
    // A last flush near the end of time is never over.
    if (last > std::numeric_limits<std::int64_t>::max() - interval || now <= last + interval) {
        return false;
    }
    m_logger->setLastFlush(now);
    return true;
}

void LogFile::close() {
    flush();
    m_file.close();
}
