#include "src/models/eeprom_image.h"

#include <algorithm>
#include <set>

#include "lib/messages.h"

namespace kovgui {
namespace {

constexpr uint8_t begin_header = e2p_kind::begin << 4 | e2p_ctl_length;
constexpr size_t crc_at = e2p_can_crc_address - e2p_can_speed_address;
constexpr uint8_t erased = 0xFF;

const uint8_t* bytesOf(const EepromPart& part, const EepromImage& image) {
    return &image[part.address - eeprom_begin];
}
uint8_t* bytesOf(const EepromPart& part, EepromImage& image) {
    return &image[part.address - eeprom_begin];
}
size_t sizeOf(const EepromPart& part) {
    return part.end - part.address;
}

bool isBegin(const uint8_t* bytes) {
    return bytes[0] == begin_header && get_le16(bytes + 1) == e2p_begin_value;
}

/// The way from one image to another, as it is walked.
class Way {
public:
    Way(const EepromImage& from, const EepromImage& to) : now_(from), to_(to) {}

    std::vector<EepromWrite> walk() {
        std::vector<const EepromPart*> parts;
        for (const EepromPart& part : eeprom_parts)
            if (differingBytes(part, now_, to_) > 0) parts.push_back(&part);
        for (const EepromPart* part : parts)
            part->is_can ? spoilCan(*part) : spoilList(*part);
        for (const EepromPart* part : parts)
            writeRange(*part, part->is_can ? 0 : e2p_ctl_length, part->is_can ? crc_at : sizeOf(*part));
        for (const EepromPart* part : parts)
            part->is_can ? writeRange(*part, crc_at, can_block_size) : writeMarker(*part);
        return std::move(writes_);
    }

private:
    uint8_t& now(const EepromPart& part, size_t at) { return bytesOf(part, now_)[at]; }
    uint8_t wanted(const EepromPart& part, size_t at) const { return bytesOf(part, to_)[at]; }

    void writeByte(const EepromPart& part, size_t at, uint8_t value) {
        if (now(part, at) == value) return;
        writes_.push_back({static_cast<uint16_t>(part.address + at), {value}});
        now(part, at) = value;
    }

    /// Only bytes that differ; neighbours go together.
    void writeRange(const EepromPart& part, size_t begin, size_t end) {
        bool open = false;
        for (size_t at = begin; at < end; ++at) {
            const uint8_t value = wanted(part, at);
            const bool differs = now(part, at) != value;
            if (differs && (!open || writes_.back().bytes.size() == e2p_max_data))
                writes_.push_back({static_cast<uint16_t>(part.address + at), {}});
            open = differs;
            if (!differs) continue;
            writes_.back().bytes.push_back(value);
            now(part, at) = value;
        }
    }

    /// A begin marker with a wrong value. Each write is one byte, so that there is nothing in between.
    void spoilList(const EepromPart& part) {
        constexpr uint8_t spoilt = 0;
        if (get_le16(&now(part, 1)) == e2p_begin_value) writeByte(part, 1, spoilt);
        writeByte(part, 0, begin_header);
    }
    /// What makes the marker valid, or takes it away, comes last.
    void writeMarker(const EepromPart& part) {
        const uint8_t* const to = bytesOf(part, to_);
        const bool value_last = to[0] == begin_header || get_le16(to + 1) == e2p_begin_value;
        for (const size_t at : {size_t{2}, size_t{value_last ? 0U : 1U}, size_t{value_last ? 1U : 0U}})
            writeByte(part, at, to[at]);
    }

    /// A CRC that fits none of the contents that there are on the way.
    void spoilCan(const EepromPart& part) {
        std::vector<uint8_t> block(bytesOf(part, now_), bytesOf(part, now_) + can_block_size);
        std::set<uint16_t> on_the_way = {can_block_crc(block.data())};
        for (size_t at = 0; at < crc_at; ++at) {
            block[at] = wanted(part, at);
            on_the_way.insert(can_block_crc(block.data()));
        }
        uint16_t crc = get_le16(&now(part, crc_at));
        while (on_the_way.contains(crc))
            crc = static_cast<uint16_t>((crc & 0xFF00) | ((crc + 1) & 0x00FF));
        writeByte(part, crc_at, static_cast<uint8_t>(crc));
    }

    EepromImage now_;
    const EepromImage& to_;
    std::vector<EepromWrite> writes_;
};

}  // namespace

PartState stateOf(const EepromPart& part, const EepromImage& image) {
    const uint8_t* const bytes = bytesOf(part, image);
    if (part.is_can) {
        if (get_le16(bytes + crc_at) == can_block_crc(bytes)) return PartState::valid;
        const bool blank =
            std::all_of(bytes, bytes + can_block_size, [](uint8_t byte) { return byte == erased; });
        return blank ? PartState::none : PartState::spoilt;
    }
    if (isBegin(bytes)) return PartState::valid;
    return bytes[0] == begin_header ? PartState::spoilt : PartState::none;
}

std::vector<const EepromPart*> spoiltParts(const EepromImage& image) {
    std::vector<const EepromPart*> spoilt;
    for (const EepromPart& part : eeprom_parts)
        if (stateOf(part, image) == PartState::spoilt) spoilt.push_back(&part);
    return spoilt;
}

EepromImage withLists(EepromImage image, const ConfigLists& lists,
                      const std::optional<std::vector<uint8_t>>& can_bytes) {
    const auto put = [&](const EepromPart& part, const std::vector<uint8_t>& bytes) {
        std::copy_n(bytes.begin(), std::min(bytes.size(), sizeOf(part)), bytesOf(part, image));
    };
    const auto& parts = eeprom_parts;
    put(parts[0], storedBytes(lists.switch_list));
    put(parts[1], storedBytes(lists.phy1_list));
    put(parts[2], storedBytes(lists.phy2_list));
    if (can_bytes) put(parts[3], *can_bytes);
    return image;
}

size_t differingBytes(const EepromPart& part, const EepromImage& a, const EepromImage& b) {
    size_t count = 0;
    for (size_t at = part.address; at < part.end; ++at)
        count += a[at - eeprom_begin] != b[at - eeprom_begin];
    return count;
}

std::vector<EepromWrite> writesOf(const EepromImage& from, const EepromImage& to) {
    return Way(from, to).walk();
}

}  // namespace kovgui
