#pragma once

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>
#include <string_view>

namespace VarnelSpeech::Testing {

// Encodes one message of the protocol-buffers wire format (little-endian hosts).
class ProtobufWriter {
public:
    ProtobufWriter& integer(int field, std::int64_t value) {
        key(field, 0);
        varint(static_cast<std::uint64_t>(value));
        return *this;
    }

    ProtobufWriter& real(int field, float value) {
        key(field, 5);
        char raw[sizeof value];
        std::memcpy(raw, &value, sizeof value);
        bytes_.append(raw, sizeof raw);
        return *this;
    }

    // A string, raw bytes, or the encoding of a message within this one.
    ProtobufWriter& text(int field, std::string_view value) {
        key(field, 2);
        varint(value.size());
        bytes_.append(value);
        return *this;
    }

    ProtobufWriter& message(int field, const ProtobufWriter& value) { return text(field, value.bytes_); }

    // Members that are encoded already.
    ProtobufWriter& append(std::string_view members) {
        bytes_.append(members);
        return *this;
    }

    const std::string& bytes() const { return bytes_; }

private:
    void key(int field, unsigned wireType) { varint((static_cast<std::uint64_t>(field) << 3U) | wireType); }

    void varint(std::uint64_t value) {
        for (; value >= 128; value >>= 7U)
            bytes_.push_back(static_cast<char>((value & 127U) | 128U));
        bytes_.push_back(static_cast<char>(value));
    }

    std::string bytes_;
};

} // namespace VarnelSpeech::Testing
