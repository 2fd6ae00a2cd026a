#include "foundation/arena.h"

#include <gtest/gtest.h>

#include <limits>
#include <new>
#include <stdexcept>
#include <vector>

#include "tests/foundation/foundation_support.h"

namespace ovrasql {
namespace {

TEST(Arena, CopiesTextWithANulBehindIt) {
    Arena arena;
    std::string source = "column";
    const TextView copy = arena.Copy(View(source));
    source = "XXXXXX";
    EXPECT_EQ(Std(copy), "column");
    EXPECT_EQ(copy.data[6], '\0');
    EXPECT_EQ(Std(arena.Copy(TextView("a\0b", 3))), std::string("a\0b", 3));
    EXPECT_EQ(arena.Copy("").length, 0);
    EXPECT_EQ(*arena.Copy("").data, '\0');
}

TEST(Arena, CopiesStayWhereTheyAreWhileItGrows) {
    Arena arena;
    constexpr int32_t kTexts = 20000;
    std::vector<TextView> copies;
    copies.reserve(kTexts);
    for (int32_t number = 0; number < kTexts; ++number) {
        copies.push_back(arena.Copy(View("text" + std::to_string(number))));
    }
    for (size_t number = 0; number < copies.size(); ++number) {
        ASSERT_EQ(Std(copies[number]), "text" + std::to_string(number));
    }
}

TEST(Arena, TakesTextsLargerThanItsChunks) {
    Arena arena;
    const TextView small = arena.Copy("small");
    const std::string large(5000000, 'x');
    EXPECT_EQ(Std(arena.Copy(View(large))), large);
    EXPECT_EQ(Std(small), "small");
    // The chunk in use was not given up for it.
    EXPECT_EQ(arena.Copy("next").data, small.data + 6);
}

TEST(Arena, TakesLittleMemoryForFewThings) {
    Arena arena;
    EXPECT_EQ(arena.Footprint(), 0u);
    EXPECT_EQ(Std(arena.Copy("one")), "one");
    EXPECT_LE(arena.Footprint(), 1024u);
}

// The last bytes of a chunk may be fewer than an alignment skips.
TEST(Arena, StartsAChunkWhereTheRestIsTooSmallToAlign) {
    Arena measured;
    static_cast<void>(measured.Allocate(1, 1));
    const size_t footprint = measured.Footprint();
    size_t room = 1;
    while (measured.Footprint() == footprint) {
        static_cast<void>(measured.Allocate(1, 1));
        ++room;
    }
    --room;  // what the first chunk holds
    for (size_t left = 0; left < 16; ++left) {
        Arena arena;
        for (size_t taken = 0; taken < room - left; ++taken) {
            static_cast<void>(arena.Allocate(1, 1));
        }
        auto* const number = static_cast<uint64_t*>(arena.Allocate(sizeof(uint64_t), 8));
        EXPECT_EQ(reinterpret_cast<uintptr_t>(number) % 8, 0u);
        EXPECT_EQ(arena.Footprint() > footprint, left < 8) << left;
        *number = ~uint64_t{0};
    }
}

struct Wide {
    char first = 'a';
    double number = 1.5;
};

TEST(Arena, AlignsWhatItMakes) {
    Arena arena;
    for (int32_t round = 0; round < 1000; ++round) {
        EXPECT_EQ(arena.Copy("x").length, 1);
        const Wide* wide = arena.Make<Wide>();
        ASSERT_EQ(reinterpret_cast<uintptr_t>(wide) % alignof(Wide), 0u);
        ASSERT_EQ(wide->number, 1.5);
        void* most = arena.Allocate(3, alignof(std::max_align_t));
        ASSERT_EQ(reinterpret_cast<uintptr_t>(most) % alignof(std::max_align_t), 0u);
    }
}

TEST(Arena, RunsDestructorsAtTheEndLastMadeFirst) {
    struct Recorder {
        Recorder(std::string* log, char mark) : log_(log), mark_(mark) {}
        ~Recorder() { log_->push_back(mark_); }
        std::string* log_;
        char mark_;
    };
    std::string log;
    {
        Arena arena;
        for (char mark : {'a', 'b', 'c'}) {
            EXPECT_NE(arena.Make<Recorder>(&log, mark), nullptr);
        }
        EXPECT_EQ(log, "");
    }
    EXPECT_EQ(log, "cba");
}

TEST(Arena, ClearEndsEverythingAndServesAgain) {
    Arena arena;
    for (int32_t number = 0; number < 100; ++number) {
        EXPECT_EQ(arena.Make<Counted>("item", number)->number, number);
    }
    EXPECT_EQ(Counted::alive, 100);
    arena.Clear();
    EXPECT_EQ(Counted::alive, 0);
    EXPECT_EQ(arena.Footprint(), 0u);
    EXPECT_EQ(Std(arena.Make<Counted>("again")->name), "again");
}

// A chain of objects that points at itself must come down without using the stack.
TEST(Arena, TakesLongChainsDownWithoutRecursion) {
    struct Link {
        explicit Link(Link* below) : below_(below), name("x") {}
        Link* below_;
        String name;
    };
    Arena arena;
    Link* top = nullptr;
    for (int32_t depth = 0; depth < 1000000; ++depth) {
        top = arena.Make<Link>(top);
    }
    arena.Clear();
    EXPECT_EQ(arena.Footprint(), 0u);
}

struct Thrower {
    Thrower() { throw std::runtime_error("no"); }
    ~Thrower() { ++destroyed; }
    static inline int destroyed = 0;
};

TEST(Arena, AConstructorThatThrowsLeavesNothingToDestroy) {
    {
        Arena arena;
        EXPECT_THROW(static_cast<void>(arena.Make<Thrower>()), std::runtime_error);
    }
    EXPECT_EQ(Thrower::destroyed, 0);
}

TEST(Arena, RefusesWhatHalfOfTheAddressesCannotHold) {
    Arena arena;
    const size_t huge = std::numeric_limits<size_t>::max();
    EXPECT_THROW(static_cast<void>(arena.Allocate(huge, 1)), std::bad_alloc);
    EXPECT_EQ(arena.Footprint(), 0u);
}

}  // namespace
}  // namespace ovrasql
