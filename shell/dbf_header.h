#pragma once

// Where the header of a data file has what, in bytes (docs/formats-dbf.md).

#include <cstddef>

namespace ovrashell {

constexpr std::size_t kHeaderSize = 32;
// The field descriptors follow the header.
constexpr std::size_t kDescriptorSize = 32;
// Within a descriptor: the name comes first.
constexpr std::size_t kNameSize = 11;
constexpr std::size_t kLetterOffset = 11;
constexpr std::size_t kWidthOffset = 16;
constexpr std::size_t kDecimalsOffset = 17;

}  // namespace ovrashell
