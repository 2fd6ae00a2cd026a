#include "foundation/base64.h"

#include <limits>
#include <memory>
#include <new>
#include <utility>

namespace ovrasql {

namespace {

constexpr char kAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

struct DecodeTable {
    uint8_t bits[256];
};

constexpr DecodeTable MakeDecodeTable() {
    DecodeTable table{};
    for (uint8_t value = 0; value < 64; ++value) {
        table.bits[static_cast<uint8_t>(kAlphabet[value])] = value;
    }
    return table;
}

constexpr DecodeTable kDecode = MakeDecodeTable();

uint32_t ByteAt(TextView bytes, int32_t index) {
    return index < bytes.length ? static_cast<uint8_t>(bytes[index]) : 0;
}

uint32_t BitsAt(TextView text, int32_t index) {
    return index < text.length ? kDecode.bits[static_cast<uint8_t>(text[index])] : 0;
}

}  // namespace

String EncodeBase64(TextView bytes) {
    if (bytes.length == 0) {
        return String(TextView());
    }
    const int64_t size = int64_t{4} * (bytes.length / 3) + 5;
    if (size > std::numeric_limits<int32_t>::max()) {
        throw std::bad_alloc();
    }
    auto buffer = std::make_unique<char[]>(static_cast<size_t>(size));
    int32_t length = 0;
    for (int32_t index = 0; index < bytes.length; index += 3) {
        const uint32_t group =
            ByteAt(bytes, index) << 16 | ByteAt(bytes, index + 1) << 8 | ByteAt(bytes, index + 2);
        const int32_t left = bytes.length - index;
        buffer[length++] = kAlphabet[group >> 18];
        buffer[length++] = kAlphabet[group >> 12 & 63];
        buffer[length++] = left > 1 ? kAlphabet[group >> 6 & 63] : '=';
        buffer[length++] = left > 2 ? kAlphabet[group & 63] : '=';
    }
    return String(std::move(buffer), length, static_cast<int32_t>(size));
}

String DecodeBase64(TextView text) {
    if (text.length == 0) {
        return String(TextView());
    }
    const int64_t size = int64_t{text.length} + 1;
    if (size > std::numeric_limits<int32_t>::max()) {
        throw std::bad_alloc();
    }
    auto buffer = std::make_unique<char[]>(static_cast<size_t>(size));
    for (int32_t dropped = 0; dropped < 2 && text.length > 0; ++dropped) {
        if (text[text.length - 1] == '=') {
            --text.length;
        }
    }
    int32_t length = 0;
    for (int32_t index = 0; index < text.length; index += 4) {
        const uint32_t group = BitsAt(text, index) << 18 | BitsAt(text, index + 1) << 12 |
                               BitsAt(text, index + 2) << 6 | BitsAt(text, index + 3);
        const int32_t left = text.length - index;
        buffer[length++] = static_cast<char>(group >> 16 & 255);
        if (left > 2) {
            buffer[length++] = static_cast<char>(group >> 8 & 255);
        }
        if (left > 3) {
            buffer[length++] = static_cast<char>(group & 255);
        }
    }
    return String(std::move(buffer), length, static_cast<int32_t>(size));
}

}  // namespace ovrasql
