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

// Up to four bytes, the first one lowest.
template <class Byte>
uint32_t Word(const char* bytes, int32_t count) {
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
        state.a += Word<Byte>(bytes, 4);
        state.b += Word<Byte>(bytes + 4, 4);
        state.c += Word<Byte>(bytes + 8, 4);
        state.Mix();
    }
    // The last 0 to 11 bytes. The low byte of the third word is the length's.
    state.c += static_cast<uint32_t>(text.length);
    state.a += Word<Byte>(bytes, left < 4 ? left : 4);
    if (left > 4) {
        state.b += Word<Byte>(bytes + 4, left < 8 ? left - 4 : 4);
    }
    if (left > 8) {
        state.c += Word<Byte>(bytes + 8, left - 8) << 8;
    }
    state.Mix();
    return state.c;
}

}  // namespace

uint32_t HashText(TextView text, uint32_t initial) { return Hash<PlainByte>(text, initial); }

uint32_t HashTextNoCase(TextView text, uint32_t initial) { return Hash<LowerByte>(text, initial); }

}  // namespace ovrasql
