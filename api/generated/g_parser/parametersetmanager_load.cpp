// SPDX-License-Identifier: Apache-2.0
#include <cstdarg>
#include <new>

#include "parameterlogging.hpp"
#include "platform/os_utils.hpp"
#include "steadywarp/tuning/parametersetmanager.h"

namespace {

using Versions = ParameterFileVersions;

constexpr char kHeaderTag[] = "ZBR Tessaline Header";
constexpr unsigned int kHeaderTagField = 28;
constexpr unsigned int kToolField = 48;
constexpr unsigned int kBinaryTagField = 64;
constexpr uint64_t kFlagCompressed = 2;
constexpr uint32_t kMinSections = 2;
constexpr uint32_t kMaxSections = 4;
// In file mode header and section table are read in one piece of this size.
constexpr unsigned int kHeaderPiece = 316;
constexpr unsigned long kMaxBufferLength = 4294967295UL;

enum SectionType : uint32_t { kSymbolTable = 0, kData = 1, kModeTable = 2, kDataTable = 3 };

struct FreeDeleter {
    void operator()(unsigned char* bytes) const { std::free(bytes); }
};
using Bytes = std::unique_ptr<unsigned char, FreeDeleter>;

// Header fields are never aligned, those of the section table may be.
bool ReadU32(uint32_t* value, unsigned char const* buffer, unsigned int length, unsigned int* pos,
             unsigned char alignment, IParameterLoggingAPI* logger) {
    unsigned char bytes[sizeof *value] = {};
    const bool good =
        ParameterUtils::ReadBuffer(bytes, buffer, length, pos, sizeof bytes, alignment, logger);
    std::memcpy(value, bytes, sizeof bytes);
    return good;
}

__attribute__((format(printf, 2, 3))) void SetErrorF(ParameterSetManager* manager,
                                                     char const* format, ...) {
    char text[512];
    va_list arguments;
    va_start(arguments, format);
    std::vsnprintf(text, sizeof text, format, arguments);
    va_end(arguments);
    manager->SetError(text);
}

}  // namespace

void ParameterSetManager::SetBinaryTag(char const* tag) {
    const std::lock_guard<std::mutex> lock(m_textMutex);
    try {
        m_binaryTag = m_tags.try_emplace(tag, 0).first->first.c_str();
        return;
    } catch (const std::bad_alloc&) {
        m_binaryTag = "";
    }
    PARAMETER_LOG_ERROR(this, "ReadHeader: no memory for the binary tag %s\n", tag);
}

bool ParameterSetManager::ReadHeaderFields(unsigned char const* buffer, unsigned int length,
                                           unsigned int* pos, unsigned int* sectionOffset,
                                           uint32_t* binarySize) {
    unsigned char version[sizeof m_version] = {};
    m_version = VersionUnion();
    if (!ReadU32(binarySize, buffer, length, pos, 1, this) ||
        !ParameterUtils::ReadBuffer(version, buffer, length, pos, sizeof version, 1, this)) {
        return false;
    }
    std::memcpy(&m_version, version, sizeof version);
    bool good = true;
    if (m_version >= Versions::kModeTreeMin) {
        char tool[kToolField + 1];
        char tag[kBinaryTagField + 1];
        good = ParameterUtils::ReadString(tool, buffer, length, pos, sizeof tool, kToolField, 1,
                                          this) &&
               ParameterUtils::ReadString(tag, buffer, length, pos, sizeof tag, kBinaryTagField, 1,
                                          this);
        SetBinaryTag(tag);
        PARAMETER_LOG_DEBUG(this, "ReadHeader: Version %d.%d.%d BinaryTag: %s, Tool: %s\n",
                            m_version.major, m_version.minor, static_cast<int>(m_version.patch),
                            tag, tool);
    } else {
        SetBinaryTag("");
        PARAMETER_LOG_DEBUG(
            this, "ReadHeader: Version %d.%d.%d < ModeTreeMinVersion, BinaryTag not set\n",
            m_version.major, m_version.minor, static_cast<int>(m_version.patch));
    }
    m_flags = 0;
    if (good && m_version >= Versions::kFlags) {
        unsigned char flags[sizeof m_flags] = {};
        good = ParameterUtils::ReadBuffer(flags, buffer, length, pos, sizeof flags, 1, this);
        std::memcpy(&m_flags, flags, sizeof flags);
    }
    return good && ReadU32(sectionOffset, buffer, length, pos, 1, this) &&
           ReadU32(&m_sectionCount, buffer, length, pos, 1, this);
}

bool ParameterSetManager::CheckVersion() {
    if (m_version < Versions::kModeTreeMin) {
        SetError(
            "Warning: This is an older binary format, only Default mode data is supported.\n"
            "To support multiple modes, please re-generate binary using the latest version of "
            "Tessaline");
    } else if (m_version > Versions::kNewest) {
        SetErrorF(this,
                  "Unsupported binary header version : %u.%u.%u. Please re-generate parser code "
                  "using the latest version of ParameterParser",
                  m_version.major, m_version.minor, m_version.patch);
        return false;
    }
    return true;
}

bool ParameterSetManager::ReadHeader(unsigned char const* buffer, unsigned int length,
                                     unsigned int* pos, unsigned int* sectionOffset,
                                     unsigned char* alignment) {
    char tag[kHeaderTagField + 1];
    if (!ParameterUtils::ReadString(tag, buffer, length, pos, sizeof tag, kHeaderTagField, 1,
                                    this)) {
        SetError("Failed to read binary header tag");
        return false;
    }
    uint32_t binarySize = 0;
    if (!ReadHeaderFields(buffer, length, pos, sectionOffset, &binarySize)) {
        SetError("General error parsing binary header data header");
        return false;
    }
    if (std::strcmp(tag, kHeaderTag) != 0) {
        SetErrorF(this, "Invalid binary header tag: %s", tag);
        return false;
    }
    if (length < binarySize && (m_flags & kFlagCompressed) == 0) {
        SetErrorF(this, "Binary header data too small: Expected: %d bytes, Actual: %u bytes",
                  static_cast<int>(binarySize), length);
        return false;
    }
    if (!CheckVersion()) {
        return false;
    }
    *alignment = Versions::Alignment(m_version);
    return ParameterBinaryFile::ValidateCRC(buffer, length, this);
}

bool ParameterSetManager::ReadSectionInfo(unsigned char const* buffer, unsigned int length,
                                          unsigned int* pos, unsigned char alignment) {
    m_symbolSection = m_dataSection = m_modeSection = m_dataTableSection = Section();
    if (m_sectionCount < kMinSections || m_sectionCount > kMaxSections) {
        const bool few = m_sectionCount < kMinSections;
        PARAMETER_LOG_ERROR(this, "ReadSectionInfo: Section count %d is %s sections %d\n",
                            static_cast<int>(m_sectionCount),
                            few ? "less than Min" : "greater than Max",
                            static_cast<int>(few ? kMinSections : kMaxSections));
        return false;
    }
    if (buffer == nullptr) {
        SetError("ReadSectionInfo: buffer is nullptr");
        return false;
    }
    for (uint32_t i = 0; i < m_sectionCount; ++i) {
        uint32_t type = 0;
        Section section;
        if (!ReadU32(&type, buffer, length, pos, alignment, this) ||
            !ReadU32(&section.offset, buffer, length, pos, alignment, this) ||
            !ReadU32(&section.size, buffer, length, pos, alignment, this)) {
            SetError("Error reading data from header sections");
            return false;
        }
        Section* const slots[] = {&m_symbolSection, &m_dataSection, &m_modeSection,
                                  &m_dataTableSection};
        if (type > kDataTable) {
            PARAMETER_LOG_ERROR(this, "Invalid binary section type %d\n", static_cast<int>(type));
            return false;
        }
        *slots[type] = section;
    }
    return true;
}

bool ParameterSetManager::ReadSections(const Image& image, unsigned int* pos,
                                       unsigned char alignment) {
    if (!ReadSectionInfo(image.bytes, image.length, pos, alignment)) {
        SetError("Invalid binary file section count");
        return false;
    }
    if ((m_flags & kFlagCompressed) != 0) {
        SetError("Compressed binary file not supported (support ended with V5.1.0)");
        return false;
    }
    // The table will have to find its place among the retired ones when no failure is possible.
    if (m_retiredTables.Reserve(m_retiredTables.Count() + 1)) {
        m_symbolTable = new (std::nothrow) ParameterFileSymbolTable(this, m_version);
    }
    if (m_symbolTable == nullptr) {
        SetError("Failed to allocate ParameterFileSymbolTable class");
        return false;
    }
    const bool modesRead = ReadModeSection(image, alignment);
    const Section& symbols = m_symbolSection;
    const Section& data = m_dataSection;
    if (symbols.offset == 0 || symbols.size == 0 || data.offset == 0 || data.size == 0) {
        PARAMETER_LOG_ERROR(this,
                            "ReadModeSection: Binary missing symbol table or data "
                            "SymbolOffset(%d) && SymbolSize(%d) && DataOffset(%d) && "
                            "DataSize(%d)\n",
                            static_cast<int>(symbols.offset), static_cast<int>(symbols.size),
                            static_cast<int>(data.offset), static_cast<int>(data.size));
        return modesRead;
    }
    return modesRead && LoadSymbolTable(image, alignment);
}

bool ParameterSetManager::LoadSymbolTable(const Image& image, unsigned char alignment) {
    const bool read = m_symbolTable->Load(
        image.bytes, image.length, image.file != nullptr ? image.file->GetName() : nullptr,
        image.file, image.fileLength, m_symbolSection.size, m_symbolSection.offset,
        m_dataTableSection.size, m_dataTableSection.offset, m_dataSection.size,
        m_dataSection.offset, this, alignment);
    const bool created = read && CreateModules();
    if (image.file == nullptr) {
        // Every module is parsed; the caller may free the image from here on.
        m_symbolTable->FreeEntryData();
        m_symbolTable->FreeLookupData();
    }
    return created;
}

bool ParameterSetManager::CreateModules() {
    bool good = true;
    DefaultModule* row = nullptr;
    for (ModuleData* data : m_symbolTable->GetModuleList()) {
        // Records of one type often follow each other.
        if (row == nullptr || !row->Key().Matches(*data)) {
            row = GetDefaultModule(data->Type);
        }
        good = CreateModule(data, row) && good;
    }
    return good;
}

bool ParameterSetManager::CreateModule(ModuleData* data, DefaultModule* defaults) {
    if (defaults == nullptr) {
        if (!m_quietMissingModules) {
            SetError("Failed to find header module: ", data);
        }
        return m_quietMissingModules;
    }
    ParameterModule* module = defaults->GetClassObject()->Create(data, defaults);
    if (module == nullptr) {
        SetError("Failed to parse binary header data for: ", data);
        return false;
    }
    const bool now = !InFileMode() || (data->Mode != nullptr && data->Mode->m_resident);
    if (now) {
        // A payload that is too short has been reported; it fails its module and not the load. What
        // it took until then is nobody's any more, and a hostile file may fail often.
        const ParameterPool::Mark mark = m_symbolTable->Pool().GetMark();
        if (!module->LoadModule(m_symbolTable)) {
            m_symbolTable->Pool().Rewind(mark);
        }
    }
    return AddModule(module, data, defaults->Key());
}

bool ParameterSetManager::AddModule(ParameterModule* module, ModuleData* data,
                                    ParameterTypeKey const& key) {
    if (m_rootMode == nullptr) {
        SetError("AddModule: m_rootMode is nullptr");
        return false;
    }
    if (module == nullptr) {
        SetError("AddModule: module is nullptr");
        return false;
    }
    if (data->ModeId >= m_modeCount) {
        PARAMETER_LOG_ERROR(this, "AddModule: moduleData->ModeId(%d) >= m_modeCount(%d)\n",
                            static_cast<int>(data->ModeId), static_cast<int>(m_modeCount));
        return false;
    }
    ModeEntry* entry = m_modes[data->ModeId];
    if (entry == nullptr) {
        PARAMETER_LOG_ERROR(this, "AddModule: the mode table has no record for ModeId(%d)\n",
                            static_cast<int>(data->ModeId));
        return false;
    }
    if (module->GetData() == data) {
        module->SetMode(entry->m_mode);
    }
    if (!entry->AddModule(module, key)) {
        SetError("AddModule: out of memory", data);
        return false;
    }
    return true;
}

// What a load that failed left behind must not stand in the way of the next one.
void ParameterSetManager::DiscardFailedLoad() {
    if (m_symbolTable == nullptr || m_loaded) {
        return;
    }
    KeepHolders();
    SaveAndClearModules();
    RetireSymbolTable();
    FreeBinaryParameters();
    m_fileName[0] = '\0';
}

bool ParameterSetManager::LoadImage(unsigned char const* buffer, unsigned int length) {
    unsigned int pos = 0;
    unsigned int sectionOffset = 0;
    unsigned char alignment = 1;
    if (!ReadHeader(buffer, length, &pos, &sectionOffset, &alignment)) {
        return false;
    }
    pos = sectionOffset;
    return ReadSections({buffer, length, length, nullptr}, &pos, alignment);
}

bool ParameterSetManager::LoadBinaryParameters(unsigned char* buffer, unsigned long length) {
    const bool good = LoadBuffer(buffer, length);
    StartWorker(good);
    return good;
}

bool ParameterSetManager::LoadBuffer(unsigned char const* buffer, unsigned long length) {
    const ParameterScopedLock tree(m_treeLock, false);
    const ParameterScopedLock modules(m_moduleLock, false);
    PARAMETER_LOG_DEBUG(this, "Load Binary Parameters from buffer\n");
    DiscardFailedLoad();
    if (m_symbolTable != nullptr) {
        SetError("Binary file already loaded");
        return false;
    }
    if (length > kMaxBufferLength) {
        PARAMETER_LOG_ERROR(this, "Buffer length (%llu) exceeds maximum %lu\n",
                            static_cast<unsigned long long>(length), kMaxBufferLength);
        return false;
    }
    ++m_generation;
    m_fileName[0] = '\0';  // left there by a file that did not load
    m_loaded = LoadImage(buffer, static_cast<unsigned int>(length));
    if (m_loaded) {
        PARAMETER_LOG_DEBUG(this, "Load Binary Parameters completed: Tag: %s, Version: %d.%d.%d\n",
                            GetLogName(), m_version.major, m_version.minor,
                            static_cast<int>(m_version.patch));
    }
    return m_loaded;
}

bool ParameterSetManager::LoadBinaryParameters(char const* fileName) {
    const bool good = LoadNamedFile(fileName);
    StartWorker(good);
    return good;
}

bool ParameterSetManager::LoadNamedFile(char const* fileName) {
    const ParameterScopedLock tree(m_treeLock, false);
    const ParameterScopedLock modules(m_moduleLock, false);
    if (fileName == nullptr) {
        SetError("LoadBinaryParameters called with nullptr file name");
        return false;
    }
    PARAMETER_LOG_DEBUG(this, "Load Binary Parameters from file: %s\n", fileName);
    DiscardFailedLoad();
    if (m_symbolTable != nullptr) {
        SetError("Binary file already loaded");
        return false;
    }
    ++m_generation;
    m_loaded = LoadFile(fileName);
    if (m_loaded) {
        PARAMETER_LOG_DEBUG(this, "Load Binary Parameters completed: Binary Version: %d.%d.%d\n",
                            m_version.major, m_version.minor, static_cast<int>(m_version.patch));
    }
    return m_loaded;
}

bool ParameterSetManager::LoadFile(char const* fileName) {
    const size_t length = std::strlen(fileName);
    if (length >= ParameterBinaryFile::kNameSize - 1) {
        PARAMETER_LOG_ERROR(this, "File name length (%lld) exceeds max file name length of %d\n",
                            static_cast<long long>(length),
                            static_cast<int>(ParameterBinaryFile::kNameSize - 1));
        return false;
    }
    std::unique_ptr<ParameterBinaryFile> file(new (std::nothrow)
                                                  ParameterBinaryFile(fileName, this, true));
    if (file == nullptr || !file->IsValid() || !file->IsCRCValid()) {
        PARAMETER_LOG_ERROR(this, "Failed to load binary file %s\n", fileName);
        return false;
    }
    return LoadOpenFile(std::move(file), fileName);
}

bool ParameterSetManager::LoadOpenFile(std::unique_ptr<ParameterBinaryFile> file,
                                       char const* fileName) {
    Bytes whole(file->Read(0, file->GetLength()));
    if (whole == nullptr) {
        SetError("Unable to allocate space to read binary file");
        return false;
    }
    if (!m_fileModeEnabled) {
        return LoadBuffer(whole.get(), file->GetLength());
    }
    return LoadFromFileHeader(std::move(file), fileName, whole.release());
}

bool ParameterSetManager::LoadFromFileHeader(std::unique_ptr<ParameterBinaryFile> file,
                                             char const* fileName, unsigned char* whole) {
    Bytes bytes(whole);
    Zelm::OsUtils::StrLCpy(m_fileName, fileName, sizeof m_fileName);
    unsigned int pos = 0;
    unsigned int sectionOffset = 0;
    unsigned char alignment = 1;
    if (!ReadHeader(bytes.get(), file->GetLength(), &pos, &sectionOffset, &alignment)) {
        return false;
    }
    if ((m_flags & kFlagCompressed) != 0) {
        PARAMETER_LOG_ERROR(this, "Compressed binary files ssupport removed in V5.1.0\n");
        return false;
    }
    bytes.reset(file->Read(0, kHeaderPiece));
    if (bytes == nullptr) {
        PARAMETER_LOG_ERROR(this, "Failed to read %d bytes from binary file %s\n",
                            static_cast<int>(kHeaderPiece), fileName);
        return false;
    }
    pos = sectionOffset;
    const bool good =
        ReadSections({bytes.get(), kHeaderPiece, file->GetLength(), file.get()}, &pos, alignment);
    if (m_symbolTable != nullptr && m_symbolTable->GetFile() == file.get()) {
        // The table owns it now; it stays closed until a module is needed.
        file.release()->Reference(-1);
    }
    return good;
}
