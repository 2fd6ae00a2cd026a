#pragma once

// The two formats of a table: the data file (.dbf) and the memo file (.dbt). Worked bytes stand in
// docs/formats-dbf.md.
//
// Data file; all integers little-endian and unsigned:
//
//   offset         size           content
//   0              1              version: 0x03, or 0x83 with memo fields (top bit aside it is 3)
//   1              3              last update: year since 1900 (low 8 bits), month, day
//   4              4              record count
//   8              2              header length = 32 * fields + 33, so 2046 fields at most
//   10             2              record length = 1 + sum of the field lengths
//   12             20             reserved: written as zero, ignored on reading
//   32             32 a field     field descriptors, in record order
//   header - 1     1              terminator 0x0D: written, never looked at
//   header         record length  record 1; record n at (n - 1) * record length + header length
//   behind them    1              end mark 0x1A: written, never looked at; the count alone tells
//
//   descriptor 0   11             name, NUL-ended, zero-filled
//   descriptor 11  1              letter: C N D L M, as type numbers 0 to 4 (ovra_sql_field.h)
//   descriptor 12  4              reserved: written as zero, ignored on reading
//   descriptor 16  1              field length in bytes
//   descriptor 17  1              decimals
//   descriptor 18  14             reserved: written as zero, ignored on reading
//
//   record 0       1              '*' deleted; otherwise written as a blank, and any byte is live
//   record 1       the lengths    each field's bytes in descriptor order, without padding
//
// Memo file, a run of 512-byte blocks, block n at offset 512 n:
//
//   block 0        4              next free block; the other 508 bytes are written as zero
//   block n        text + 2       a text and 0x1A 0x1A, (text + 2) / 512 blocks, rounded up;
//                                 one 0x1A, or the file's end, ends it on reading
//
// A new memo file is block 0 and one byte 0x1A. Blocks are never used again; pack drops the old
// ones.

#include <cstdint>

namespace ovrasql {

inline constexpr int32_t kVersionPlain = 0x03;
inline constexpr int32_t kVersionWithMemo = 0x83;
inline constexpr int32_t kVersionMask = 0x7F;

inline constexpr int32_t kFileHeaderSize = 32;
inline constexpr int32_t kDescriptorSize = 32;
inline constexpr int32_t kFieldNameRoom = 11;
inline constexpr int32_t kMaximumFieldCount = 2046;
inline constexpr int32_t kMaximumFieldLength = 255;
inline constexpr int32_t kMaximumRecordLength = 65535;
inline constexpr char kHeaderTerminator = 0x0D;

inline constexpr char kDeletedFlag = '*';
inline constexpr char kLiveFlag = ' ';

inline constexpr int32_t kMemoBlockSize = 512;

// Behind the last record, behind a new memo header, and behind each memo text (there twice).
inline constexpr char kEndMark = 0x1A;

}  // namespace ovrasql
