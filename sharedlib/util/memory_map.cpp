// sharedlib/util/memory_map.cpp: a whole file as one block of read-only memory.
#include "sharedlib/util/memory_map.h"
#include "sharedlib/log/gate.h"
#include "sharedlib/platform/error_text.h"
#include "sharedlib/platform/memory_map.h"
#include "sharedlib/util/last_error.h"
#include "sharedlib/util/paths.h"
#include <string>

namespace {

/// Whether a step of the system failed, which is logged then.
bool failed(int error, char const* what) {
    if (error == 0) {
        return false;
    }
    platform::setLastError(error);
    describeLastError(what);
    return true;
}

} // namespace

MemoryMap::MemoryMap(char const* fileName)
    : m_file(std::make_unique<platform::File>()), m_mapping(std::make_unique<platform::File>()) {
    std::string const path = NativePath(fileName != nullptr ? fileName : "");
    if (failed(platform::openAlone(path.c_str(), *m_file), "MemoryMap: Unable to open file") ||
        failed(platform::measureFile(*m_file, m_fileSize), "MemoryMap: Unable to get file size")) {
        return;
    }
    if (m_fileSize == 0) {
        SHAREDLIB_LOG(LogSev_Error, Log::Generic, "MemoryMap: Cannot create file mapping on 0-byte file");
        return;
    }
    if (!failed(platform::createMapping(*m_file, m_fileSize, *m_mapping), "MemoryMap: Unable to create file mapping")) {
        failed(platform::mapView(*m_file, *m_mapping, m_fileSize, m_view), "MemoryMap: Unable to map view of file");
    }
}

MemoryMap::~MemoryMap() {
    if (m_view != nullptr) {
        platform::unmapView(m_view, m_fileSize);
    }
}
