#include "foundation/text_hash.h"

#include "foundation/text_compare.h"

namespace ovrasql {

namespace {

constexpr uint32_t kGoldenRatio = 0x9E3779B9;
constexpr int32_t kBlockBytes = 12;

struct State {
    uint32_t a;
    uint32_t b;
    uint32_t c;

    // The nine steps that make each bit of the block reach each bit of the state.
    void Mix() {
        a = (a - b - c) ^ (c >> 13);
        b = (b - c - a) ^ (a << 8);
        c = (c - a - b) ^ (b >> 13);
        a = (a - b - c) ^ (c >> 12);
        b = (b - c - a) ^ (a << 16);
        c = (c - a - b) ^ (b >> 5);
        a = (a - b - c) ^ (c >> 3);
        b = (b - c - a) ^ (a << 10);
        c = (c - a - b) ^ (b >> 15);
    }
};

struct PlainByte {
    static uint32_t Of(char c) { return static_cast<uint8_t>(c); }
};

struct LowerByte {
    static uint32_t Of(char c) { return character_tables::kLower.entry[static_cast<uint8_t>(c)]; }
};

// Four bytes, the first one lowest.
template <class Byte>
uint32_t Word(const char* bytes) {
    return Byte::Of(bytes[0]) | Byte::Of(bytes[1]) << 8 | Byte::Of(bytes[2]) << 16 |
           Byte::Of(bytes[3]) << 24;
}

// Up to four of them.
template <class Byte>
uint32_t PartWord(const char* bytes, int32_t count) {
    if (count >= 4) {
        return Word<Byte>(bytes);
    }
    uint32_t word = 0;
    for (int32_t index = 0; index < count; ++index) {
        word |= Byte::Of(bytes[index]) << (8 * index);
    }
    return word;
}

template <class Byte>
uint32_t Hash(TextView text, uint32_t initial) {
    State state{kGoldenRatio, kGoldenRatio, initial};
    const char* bytes = text.data;
    int32_t left = text.length;
    for (; left >= kBlockBytes; left -= kBlockBytes, bytes += kBlockBytes) {
        state.a += Word<Byte>(bytes);
        state.b += Word<Byte>(bytes + 4);
        state.c += Word<Byte>(bytes + 8);
        state.Mix();
    }
    // The last 0 to 11 bytes. The low byte of the third word is the length's.
    state.c += static_cast<uint32_t>(text.length);
    state.a += PartWord<Byte>(bytes, left);
    if (left > 4) {
        state.b += PartWord<Byte>(bytes + 4, left - 4);
    }
    if (left > 8) {
        state.c += PartWord<Byte>(bytes + 8, left - 8) << 8;
    }
    state.Mix();
    return state.c;
}

}  // namespace

uint32_t HashText(TextView text, uint32_t initial) { return Hash<PlainByte>(text, initial); }

uint32_t HashTextNoCase(TextView text, uint32_t initial) { return Hash<LowerByte>(text, initial); }

}  // namespace ovrasql
