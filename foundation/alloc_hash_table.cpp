#include "foundation/alloc_hash_table.h"

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <mutex>
#include <new>
#include <type_traits>

#include "foundation/hash_store.h"
#include "foundation/ignore_result.h"
#include "foundation/text_compare.h"
#include "foundation/text_hash.h"

namespace ovrasql {

namespace {

struct Freer {
    void operator()(void* memory) const { std::free(memory); }
};

// Draws on malloc alone, so that an allocator that tracks through this table is not tracked itself.
struct UntrackedMemory {
    template <class Item>
    using ItemOwner = std::unique_ptr<Item, Freer>;
    template <class Element>
    using Vector = std::unique_ptr<Element[], Freer>;
    template <class Element>
    static Vector<Element> MakeVector(size_t count) {
        static_assert(std::is_trivially_default_constructible_v<Element>);
        auto* elements = static_cast<Element*>(std::malloc(count * sizeof(Element)));
        if (elements == nullptr) {
            throw std::bad_alloc();
        }
        return Vector<Element>(elements);
    }
};

constexpr size_t kFileNameRoom = 128;
constexpr size_t kShownBytes = 50;

struct Entry {
    char file[kFileNameRoom];
    int32_t line;
    void* address;
    uint32_t size;
};

uint32_t HashAddress(const void* address) {
    const uint32_t low = static_cast<uint32_t>(reinterpret_cast<uintptr_t>(address));
    char bytes[sizeof(low)];
    std::memcpy(bytes, &low, sizeof(low));
    return HashText(TextView(bytes, static_cast<int32_t>(sizeof(low))));
}

int32_t CompareAddresses(const void* first, const void* second) {
    const auto left = reinterpret_cast<uintptr_t>(first);
    const auto right = reinterpret_cast<uintptr_t>(second);
    return left < right ? -1 : (left > right ? 1 : 0);
}

class AllocHashTable {
  public:
    using EntryOwner = UntrackedMemory::ItemOwner<Entry>;

    void Add(EntryOwner entry) {
        const std::lock_guard<std::mutex> lock(mutex_);
        const uint32_t hash = HashAddress(entry->address);
        store_.Insert(entry.release(), hash, [](const Entry& added, const Entry& member) {
            return CompareAddresses(added.address, member.address);
        });
    }

    EntryOwner Remove(const void* address) {
        const std::lock_guard<std::mutex> lock(mutex_);
        return EntryOwner(store_.Remove(HashAddress(address), [address](const Entry& member) {
            return CompareAddresses(member.address, address);
        }));
    }

    void RemoveAll() {
        const std::lock_guard<std::mutex> lock(mutex_);
        store_.RemoveAll();
    }

    void Report(std::FILE* file) {
        const std::lock_guard<std::mutex> lock(mutex_);
        std::fputs("----------[Begin Session]----------\n", file);
        for (const Entry* entry : store_) {
            ReportEntry(*entry, file);
        }
        std::fputs("----------[End Session]----------\n", file);
    }

  private:
    static void ReportEntry(const Entry& entry, std::FILE* file) {
        std::fprintf(file, "%s( %d ): %d bytes @ %p\n", entry.file, static_cast<int>(entry.line),
                     static_cast<int>(entry.size), entry.address);
        std::fputc('\t', file);
        const char* bytes = static_cast<const char*>(entry.address);
        for (size_t index = 0; index < entry.size && index < kShownBytes; ++index) {
            if (IsPrintable(bytes[index])) {
                std::fprintf(file, "%c", bytes[index]);
            } else {
                std::fprintf(file, "<0x%02x>",
                             static_cast<unsigned>(static_cast<unsigned char>(bytes[index])));
            }
        }
        std::fputc('\n', file);
    }

    std::mutex mutex_;
    HashStore<Entry, UntrackedMemory> store_{true, kHashTableBucketBits, kHashTableStep};
};

AllocHashTable allocations;

AllocHashTable::EntryOwner MakeEntry(void* address, size_t size, const char* file, int32_t line) {
    AllocHashTable::EntryOwner entry(static_cast<Entry*>(std::malloc(sizeof(Entry))));
    if (entry == nullptr) {
        return entry;
    }
    // A name too long for its room is cut.
    const TextView name = TextView(file).Part(0, static_cast<int32_t>(kFileNameRoom) - 1);
    std::memcpy(entry->file, name.data, static_cast<size_t>(name.length));
    entry->file[name.length] = '\0';
    entry->line = line;
    entry->address = address;
    entry->size = static_cast<uint32_t>(size);
    return entry;
}

}  // namespace

void* TrackedNew(size_t size, const char* file, int32_t line) {
    void* address = std::malloc(size == 0 ? 1 : size);
    if (address == nullptr) {
        return nullptr;
    }
    AllocHashTable::EntryOwner entry = MakeEntry(address, size, file, line);
    if (entry != nullptr) {
        try {
            allocations.Add(std::move(entry));
        } catch (const std::bad_alloc&) {
            // The table could not grow; the allocation is good without its note.
        }
    }
    return address;
}

void TrackedDelete(void* address) {
    IgnoreResult(allocations.Remove(address));  // the note goes, if there was one
    std::free(address);
}

void WriteAllocationReport(const char* path) {
    std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(path, "a"), &std::fclose);
    if (file != nullptr) {
        allocations.Report(file.get());
    }
}

void ForgetTrackedAllocations() { allocations.RemoveAll(); }

}  // namespace ovrasql
