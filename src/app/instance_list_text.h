// The shared list of running Pixvane processes as bytes: its layout, the
// sizes both sides map, and the edits made to it under the list mutex.
// No Windows headers: built natively too.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <string_view>
#include <vector>

// Every participant (setup and the product) must agree on these, since they
// all open one mapping by name and read it with the same offsets.
constexpr uint32_t kMaxInstanceIds = 1000;
constexpr size_t kAllowedOffset = 0;
constexpr size_t kCountOffset = 4;
constexpr size_t kIdsOffset = 8;
constexpr uint32_t kInstanceListBytes = kIdsOffset + 4 * kMaxInstanceIds;  // 4008

// The size an area takes in the mapping. A size that is not a multiple of the
// allocation granularity becomes size / granularity + granularity, a multiple
// becomes size / granularity. Odd, but the product computes it the same way
// and both must arrive at the same mapping size (4008 and 1024 both become
// 65536 with the usual 64 KB granularity).
uint32_t RoundAreaSize(uint32_t size, uint32_t granularity);

// Whether a window with this title can be a participant's main window: it
// starts with "Pixvane" (case-sensitive) and is not one of the hidden
// helper windows that COM and DDE create.
bool IsInstanceWindowTitle(std::wstring_view title);

// The list area of the mapping. Fields are little-endian 32-bit values. Reads
// and writes never leave the given bytes, even when a broken participant has
// left a count larger than the area can hold.
class InstanceListBuffer {
public:
    explicit InstanceListBuffer(std::span<uint8_t> bytes) : m_bytes(bytes) {}

    // A new list: one instance allowed, none present, all slots zero.
    void Initialise();

    uint32_t Allowed() const;
    void SetAllowed(uint32_t allowed);
    uint32_t Count() const;

    // The present identifiers, in order of joining.
    std::vector<uint32_t> Ids() const;

    // Stores id after the others; false and no change when the list is full.
    bool Append(uint32_t id);

    // Removes the first occurrence of id, moving the later ones down. The
    // vacated last slot keeps a stale copy; the slot at the old count (one
    // past it) is zeroed. That is how the product has always left the list,
    // and a full list thus writes just past the 1000 slots, which the
    // rounded area still covers. False when id is not present.
    bool Remove(uint32_t id);

private:
    uint32_t ReadAt(size_t offset) const;
    void WriteAt(size_t offset, uint32_t value);
    // Slots that lie entirely inside the buffer.
    size_t SlotCapacity() const;

    std::span<uint8_t> m_bytes;
};
