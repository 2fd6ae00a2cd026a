// The fuzzer's own hooks for the target sql_and_files: nine changes of ten go along the structure
// of the script, the tenth is one of bytes.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <string>

#include "fuzz/support/script_mutator.h"

extern "C" size_t LLVMFuzzerMutate(uint8_t* bytes, size_t size, size_t room);
extern "C" size_t LLVMFuzzerCustomMutator(uint8_t* bytes, size_t size, size_t room,
                                          unsigned int seed);
extern "C" size_t LLVMFuzzerCustomCrossOver(const uint8_t* first, size_t firstSize,
                                            const uint8_t* second, size_t secondSize,
                                            uint8_t* bytes, size_t room, unsigned int seed);

namespace {

std::string Text(const uint8_t* bytes, size_t size) {
    return std::string(reinterpret_cast<const char*>(bytes), size);
}

size_t Store(const std::string& text, uint8_t* bytes, size_t room) {
    const size_t size = std::min(text.size(), room);
    std::memcpy(bytes, text.data(), size);
    return size;
}

}  // namespace

extern "C" size_t LLVMFuzzerCustomMutator(uint8_t* bytes, size_t size, size_t room,
                                          unsigned int seed) {
    if (seed % 10 == 0) {
        return LLVMFuzzerMutate(bytes, size, room);
    }
    return Store(ovrasql::fuzz::ScriptMutator(seed).Mutate(Text(bytes, size)), bytes, room);
}

extern "C" size_t LLVMFuzzerCustomCrossOver(const uint8_t* first, size_t firstSize,
                                            const uint8_t* second, size_t secondSize,
                                            uint8_t* bytes, size_t room, unsigned int seed) {
    return Store(
        ovrasql::fuzz::ScriptMutator(seed).Cross(Text(first, firstSize), Text(second, secondSize)),
        bytes, room);
}
