// SPDX-License-Identifier: Apache-2.0
#include <new>

#include "parameterlogging.hpp"
#include "steadywarp/tuning/parametersetmanager.h"

namespace {

constexpr unsigned int kModeTableName = 32;
constexpr uint32_t kNoLink = 0xFFFFFFFF;
constexpr uint64_t kFlagResident = 1;
constexpr uint16_t kFirstLoadedOnDemand = 2;  // Default and Sensor are always there
// Bounds that no honest file meets: a path has seven kinds of steps.
constexpr uint32_t kMaxDepth = 256;
constexpr uint32_t kMaxLinkChain = 64;

struct FreeDeleter {
    void operator()(unsigned char* bytes) const { std::free(bytes); }
};

}  // namespace

struct ParameterSetManager::ModeRecord {
    uint32_t id = 0;
    ModeUnion mode;
    uint32_t parent = 0;
    uint32_t link = kNoLink;
    uint32_t flags = 0;
};

ModeEntry* ParameterSetManager::GetModeEntry(unsigned int modeId) {
    return modeId < m_modeCount ? m_modes[modeId] : nullptr;
}

bool ParameterSetManager::AllocateModes(uint32_t count) {
    m_modes.reset(new (std::nothrow) ModeEntry*[count]());
    // With this room taking a mode into either list cannot fail.
    if (m_modes == nullptr || !m_ownedModes.Reserve(count) || !m_loadedModes.Reserve(count)) {
        SetError("ReadModeSection: Failed to allocate space for the mode table");
        m_modes.reset();
        return false;
    }
    m_modeCount = count;
    return true;
}

bool ParameterSetManager::CreateDefaultMode() {
    PARAMETER_LOG_DEBUG(this,
                        "ReadModeSection: No mode table in binary, ModeOffset(%d) ModeSize(%d), "
                        "creating default\n",
                        static_cast<int>(m_modeSection.offset),
                        static_cast<int>(m_modeSection.size));
    ModeEntry* entry = AllocateModes(1) ? NewMode() : nullptr;
    if (entry == nullptr) {
        return false;
    }
    entry->Initialize(0, ModeUnion(), nullptr, true, true);
    m_modes[0] = entry;
    m_rootMode = entry;
    return MakePath(entry);
}

ModeEntry* ParameterSetManager::NewMode() {
    static_assert(std::is_trivially_destructible_v<ModeEntry>, "goes with the pool it lies in");
    ParameterPool& pool = m_symbolTable->Pool();
    void* room = pool.Allocate(sizeof(ModeEntry));
    auto* entry = room != nullptr ? new (room) ModeEntry(this, pool) : nullptr;
    if (entry == nullptr || !m_ownedModes.Add(entry)) {
        SetError("ReadModeSection: Failed to allocate space for a mode");
        return nullptr;
    }
    return entry;
}

bool ParameterSetManager::MakePath(ModeEntry* entry) {
    if (entry->MakePath()) {
        return true;
    }
    SetError("ReadModeSection: Failed to allocate space for the path of a mode");
    return false;
}

bool ParameterSetManager::ReadModeSection(const Image& image, unsigned char alignment) {
    const Section& section = m_modeSection;
    if (section.offset == 0 || section.size == 0) {
        return CreateDefaultMode();
    }
    const bool named = m_version >= ParameterFileVersions::kDataTable;
    const uint32_t nameSize = named ? kModeTableName : 0;
    const uint32_t recordSize = m_symbolTable->GetModeEntrySize(alignment);
    const uint32_t count = section.size >= nameSize ? (section.size - nameSize) / recordSize : 0;
    const uint32_t expected = nameSize + count * recordSize;
    if (expected != section.size) {
        PARAMETER_LOG_ERROR(this, "ReadModeSection: ModeSize %d does not match expected size %d\n",
                            static_cast<int>(section.size), static_cast<int>(expected));
        return false;
    }
    if (image.bytes == nullptr) {
        SetError("ReadModeSection: Failed, buffer is nullptr");
        return false;
    }
    if (image.length == 0) {
        SetError("ReadModeSection: Failed, buffer length is 0");
        return false;
    }
    const bool fits = uint64_t{section.offset} + section.size <= image.fileLength;
    std::unique_ptr<unsigned char, FreeDeleter> fromFile;
    if (image.file != nullptr && fits) {
        fromFile.reset(image.file->Read(section.offset, section.size));
    }
    unsigned char const* bytes = image.file != nullptr ? fromFile.get()
                                 : fits                ? image.bytes + section.offset
                                                       : nullptr;
    if (bytes == nullptr) {
        PARAMETER_LOG_ERROR(
            this, "ReadModeSection: Failed to read %d bytes for mode table from binary file\n",
            static_cast<int>(section.size));
        return false;
    }
    const bool good = AllocateModes(count) &&
                      ReadModeRecords(bytes + nameSize, section.size - nameSize, alignment);
    // Also after a failure: what was read so far may still be asked for a module.
    CutEndlessLinks();
    return good;
}

bool ParameterSetManager::ReadModeRecords(unsigned char const* bytes, uint32_t size,
                                          unsigned char alignment) {
    const auto read = [&](unsigned int* pos, void* field, unsigned int width) {
        return ParameterUtils::ReadBuffer(static_cast<unsigned char*>(field), bytes, size, pos,
                                          width, alignment, this);
    };
    unsigned int pos = 0;
    for (uint32_t i = 0; i < m_modeCount; ++i) {
        ModeRecord record;
        bool good = read(&pos, &record.id, 4) && read(&pos, &record.mode, 8) &&
                    read(&pos, &record.parent, 4);
        if (good && m_version >= ParameterFileVersions::kModeLinks) {
            good = read(&pos, &record.link, 4);
        }
        if (good && m_version >= ParameterFileVersions::kResidentModes) {
            good = read(&pos, &record.flags, 4);
        }
        if (!good || !CheckModeRecord(record) || !PlaceMode(record)) {
            return false;
        }
    }
    return true;
}

bool ParameterSetManager::CheckModeRecord(const ModeRecord& record) {
    char const* text = nullptr;
    if (record.id >= m_modeCount) {
        text = "ReadModeSection: Mode ID exceeds mode count";
    } else if (record.parent >= m_modeCount) {
        text = "ReadModeSection: Parent Mode ID exceeds mode count";
    } else if (record.link >= m_modeCount && record.link != kNoLink) {
        text = "ReadModeSection: Link Mode ID exceeds mode count";
    }
    if (text != nullptr) {
        SetError(text);
    }
    return text == nullptr;
}

bool ParameterSetManager::PlaceMode(const ModeRecord& record) {
    ModeEntry* parent = record.id != record.parent ? m_modes[record.parent] : nullptr;
    if (parent != nullptr && parent->m_mode.mode == record.mode.mode &&
        parent->m_mode.subMode == record.mode.subMode) {
        m_modes[record.id] = parent;
        return true;
    }
    ModeEntry* entry = NewMode();
    if (entry == nullptr) {
        return false;
    }
    const bool first = m_rootMode == nullptr;
    const bool always = first || record.mode.mode < kFirstLoadedOnDemand;
    entry->Initialize(record.id, record.mode,
                      record.link != kNoLink ? &m_modes[record.link] : nullptr,
                      always || !InFileMode(), always || (record.flags & kFlagResident) != 0);
    m_modes[record.id] = entry;
    if (first) {
        m_rootMode = entry;
    }
    if (parent == nullptr) {
        return MakePath(entry);
    }
    if (parent->m_depth >= kMaxDepth) {
        PARAMETER_LOG_ERROR(this, "ReadModeSection: Mode %u lies deeper than %u steps\n", record.id,
                            kMaxDepth);
        return MakePath(entry);  // in the table, but on no path from the root
    }
    if (!parent->AddMode(entry)) {
        SetError("ReadModeSection: Failed to allocate space for the children of a mode");
        return false;
    }
    return MakePath(entry);
}

// A link that leads into a circle is taken away where the circle is first met, so that following
// links needs no count.
void ParameterSetManager::CutEndlessLinks() {
    for (ModeEntry* entry : m_ownedModes) {
        ModeEntry const* at = entry;
        uint32_t steps = 0;
        while (at->m_link != nullptr && *at->m_link != nullptr && steps <= kMaxLinkChain) {
            at = *at->m_link;
            ++steps;
        }
        if (steps > kMaxLinkChain) {
            PARAMETER_LOG_ERROR(this, "ReadModeSection: The links of mode %u do not end\n",
                                entry->m_id);
            entry->m_link = nullptr;
        }
    }
}

ModeEntry* ParameterSetManager::FindEntry(TuningMode const* branch, unsigned int count) {
    ModeEntry* entry = m_rootMode;
    for (unsigned int index = 1; entry != nullptr && branch != nullptr && index < count;) {
        entry = NextMode(entry->Resolve(), branch, count, &index);
    }
    return entry;
}

ModeEntry* ParameterSetManager::GetModeEntry(TuningMode const* branch, unsigned int count) {
    const ParameterScopedLock tree(m_treeLock, true);
    return FindEntry(branch, count);
}

ModeEntry* ParameterSetManager::GetModeEntry(char const* path) {
    PList<TuningMode> branch(8);
    return GetModeBranchFromPath(path, branch) ? GetModeEntry(branch.begin(), branch.Count())
                                               : nullptr;
}
