// sharedlib/util/memory_map.cpp: a whole file as one block of read-only memory.
#include "sharedlib/util/memory_map.h"
#include "sharedlib/log/gate.h"
#include "sharedlib/platform/file_reading.h"
#include "sharedlib/platform/memory_map.h"
#include "sharedlib/util/internal/system_failure.h"
#include "sharedlib/util/paths.h"
#include <string>

MemoryMap::MemoryMap(char const* fileName)
    : m_file(std::make_unique<platform::File>()), m_mapping(std::make_unique<platform::File>()) {
    std::string const path = NativePath(fileName != nullptr ? fileName : "");
    if (isFailure(platform::openAlone(path.c_str(), *m_file), "MemoryMap: Unable to open file") ||
        isFailure(platform::measureFile(*m_file, m_fileSize), "MemoryMap: Unable to get file size")) {
        return;
    }
    if (m_fileSize == 0) {
        SHAREDLIB_LOG(LogSev_Error, Log::Generic, "MemoryMap: Cannot create file mapping on 0-byte file");
        return;
    }
    if (!isFailure(platform::createMapping(*m_file, m_fileSize, *m_mapping),
                   "MemoryMap: Unable to create file mapping")) {
        isFailure(platform::mapView(*m_file, *m_mapping, m_fileSize, m_view), "MemoryMap: Unable to map view of file");
    }
}

MemoryMap::~MemoryMap() {
    if (m_view != nullptr) {
        platform::unmapView(m_view, m_fileSize);
    }
}
