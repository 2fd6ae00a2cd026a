#pragma once

// Integers as the files hold them: least significant byte first, unsigned, at any alignment. Every
// number of a .dbf, .dbt or .ovx file goes through these four functions. The caller has made sure
// that the bytes are inside its buffer.

#include <cstdint>

namespace ovrasql {

namespace little_endian {

inline uint32_t ByteAt(const void* bytes, int32_t index) {
    return static_cast<const unsigned char*>(bytes)[index];
}

inline void SetByte(void* bytes, int32_t index, uint32_t value) {
    static_cast<unsigned char*>(bytes)[index] = static_cast<unsigned char>(value & 0xFFU);
}

}  // namespace little_endian

inline uint16_t LoadLittle16(const void* bytes) {
    return static_cast<uint16_t>(little_endian::ByteAt(bytes, 0) | little_endian::ByteAt(bytes, 1)
                                                                       << 8U);
}

inline uint32_t LoadLittle32(const void* bytes) {
    return little_endian::ByteAt(bytes, 0) | little_endian::ByteAt(bytes, 1) << 8U |
           little_endian::ByteAt(bytes, 2) << 16U | little_endian::ByteAt(bytes, 3) << 24U;
}

inline void StoreLittle16(void* bytes, uint16_t value) {
    little_endian::SetByte(bytes, 0, value);
    little_endian::SetByte(bytes, 1, static_cast<uint32_t>(value) >> 8U);
}

inline void StoreLittle32(void* bytes, uint32_t value) {
    little_endian::SetByte(bytes, 0, value);
    little_endian::SetByte(bytes, 1, value >> 8U);
    little_endian::SetByte(bytes, 2, value >> 16U);
    little_endian::SetByte(bytes, 3, value >> 24U);
}

}  // namespace ovrasql
