#include "storage/index_header.h"

#include <algorithm>
#include <cstring>

namespace ovrasql {

namespace {

constexpr char kMagic[4] = {'O', 'V', 'X', 'I'};
constexpr uint16_t kNewOrder = 8;
constexpr uint16_t kNewPageSize = 1024;
constexpr uint16_t kNewEntrySize = 108;
constexpr int32_t kExpressionOffset = 27;

}  // namespace

void IndexHeader::MakeNew(TextView keyExpression, int32_t flags) {
    std::memset(bytes_, 0, sizeof(bytes_));
    std::memcpy(bytes_, kMagic, sizeof(kMagic));
    bytes_[4] = kIndexFormatVersion;
    SetGeneration(0);
    SetPageCount(2);
    SetRootPage(1);
    StoreLittle16(bytes_ + 17, kNewOrder);
    StoreLittle16(bytes_ + 19, kNewPageSize);
    StoreLittle16(bytes_ + 21, kNewEntrySize);
    StoreLittle32(bytes_ + 23, static_cast<uint32_t>(flags));
    const int32_t length = std::min(keyExpression.length, kIndexExpressionRoom);
    std::memcpy(bytes_ + kExpressionOffset, keyExpression.data, static_cast<size_t>(length));
}

bool IndexHeader::HasMagic() const { return std::memcmp(bytes_, kMagic, sizeof(kMagic)) == 0; }

TextView IndexHeader::KeyExpression() const {
    const char* text = reinterpret_cast<const char*>(bytes_ + kExpressionOffset);
    const void* end = std::memchr(text, '\0', kIndexExpressionRoom);
    return TextView(text, end == nullptr
                              ? kIndexExpressionRoom
                              : static_cast<int32_t>(static_cast<const char*>(end) - text));
}

bool IndexHeader::SizesHold() const {
    return EntrySize() >= kIndexKeyOffset + 2 &&
           kIndexCountBytes + EntrySize() + kIndexChildBytes <= PageSize();
}

int32_t IndexHeader::FullCount() const { return std::clamp(Order(), 1, Capacity()); }

int32_t IndexHeader::LeastCount() const { return std::max((FullCount() >> 1) - 1, 1); }

}  // namespace ovrasql
