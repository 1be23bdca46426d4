#include "app/instance_list_text.h"

#include <algorithm>

namespace {
constexpr size_t kSlotBytes = 4;
}  // namespace

uint32_t RoundAreaSize(uint32_t size, uint32_t granularity)
{
    if (granularity == 0) {
        return size;
    }
    if (size % granularity != 0) {
        return size / granularity + granularity;
    }
    return size / granularity;
}

bool IsInstanceWindowTitle(std::wstring_view title)
{
    if (title == L"DDE Server Window" || title == L"OleMainThreadWndName") {
        return false;
    }
    return title.substr(0, 7) == L"Pixvane";
}

void InstanceListBuffer::Initialise()
{
    WriteAt(kAllowedOffset, 1);
    WriteAt(kCountOffset, 0);
    for (size_t slot = 0; slot < std::min<size_t>(kMaxInstanceIds, SlotCapacity()); ++slot) {
        WriteAt(kIdsOffset + slot * kSlotBytes, 0);
    }
}

uint32_t InstanceListBuffer::Allowed() const
{
    return ReadAt(kAllowedOffset);
}

void InstanceListBuffer::SetAllowed(uint32_t allowed)
{
    WriteAt(kAllowedOffset, allowed);
}

uint32_t InstanceListBuffer::Count() const
{
    return ReadAt(kCountOffset);
}

std::vector<uint32_t> InstanceListBuffer::Ids() const
{
    const size_t count = std::min<size_t>(Count(), SlotCapacity());
    std::vector<uint32_t> ids;
    ids.reserve(count);
    for (size_t slot = 0; slot < count; ++slot) {
        ids.push_back(ReadAt(kIdsOffset + slot * kSlotBytes));
    }
    return ids;
}

bool InstanceListBuffer::Append(uint32_t id)
{
    const uint32_t count = Count();
    if (count >= kMaxInstanceIds || count >= SlotCapacity()) {
        return false;
    }
    WriteAt(kIdsOffset + count * kSlotBytes, id);
    WriteAt(kCountOffset, count + 1);
    return true;
}

bool InstanceListBuffer::Remove(uint32_t id)
{
    const uint32_t count = Count();
    const size_t present = std::min<size_t>(count, SlotCapacity());
    size_t found = present;
    for (size_t slot = 0; slot < present; ++slot) {
        if (ReadAt(kIdsOffset + slot * kSlotBytes) == id) {
            found = slot;
            break;
        }
    }
    if (found == present) {
        return false;
    }
    for (size_t slot = found; slot + 1 < present; ++slot) {
        WriteAt(kIdsOffset + slot * kSlotBytes, ReadAt(kIdsOffset + (slot + 1) * kSlotBytes));
    }
    WriteAt(kIdsOffset + static_cast<size_t>(count) * kSlotBytes, 0);
    WriteAt(kCountOffset, count - 1);
    return true;
}

uint32_t InstanceListBuffer::ReadAt(size_t offset) const
{
    if (offset + kSlotBytes > m_bytes.size()) {
        return 0;
    }
    return static_cast<uint32_t>(m_bytes[offset]) | static_cast<uint32_t>(m_bytes[offset + 1]) << 8 |
           static_cast<uint32_t>(m_bytes[offset + 2]) << 16 | static_cast<uint32_t>(m_bytes[offset + 3]) << 24;
}

void InstanceListBuffer::WriteAt(size_t offset, uint32_t value)
{
    if (offset + kSlotBytes > m_bytes.size()) {
        return;  // outside the area: nothing to write into
    }
    for (size_t i = 0; i < kSlotBytes; ++i) {
        m_bytes[offset + i] = static_cast<uint8_t>(value >> (8 * i));
    }
}

size_t InstanceListBuffer::SlotCapacity() const
{
    return m_bytes.size() < kIdsOffset ? 0 : (m_bytes.size() - kIdsOffset) / kSlotBytes;
}
