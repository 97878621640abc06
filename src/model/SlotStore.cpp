// Slots: chunks per slot size, kept for the life of the process. A slot is always taken at the
// lowest free place, counting chunks in the order they were made and slots in address order
// within a chunk. A sketch built after another was deleted therefore lies in the order it is
// made, as on a fresh start, whatever order the earlier one was deleted in (a free list would
// hand slots out in the reverse order of deletion, and after a few sketches in no order at all).
#include "model/SlotStore.h"

#include <cstdint>
#include <new>

#if defined(__linux__)
#include <sys/mman.h>
#endif

#if defined(__has_include)
#if __has_include(<valgrind/valgrind.h>)
#include <valgrind/valgrind.h>
#endif
#endif
#if defined(__SANITIZE_ADDRESS__)
#define QSOLVER_ADDRESS_SANITIZER 1
#elif defined(__has_feature)
#if __has_feature(address_sanitizer)
#define QSOLVER_ADDRESS_SANITIZER 1
#endif
#endif

namespace
{
// Chunks are aligned to their size, so the chunk of a slot is found from its address.
constexpr std::size_t kChunkBytes = std::size_t{1} << 18;
constexpr std::size_t kGrain = alignof(double);
constexpr std::size_t kLargestSlot = 512;
constexpr std::size_t kWords = kChunkBytes / kGrain / 64;

struct Chunk
{
    Chunk* next = nullptr; // the class's next chunk, in the order made
    std::size_t ordinal = 0;
    std::size_t freeCount = 0;
    std::size_t firstWord = 0;       // no free slot before this word
    std::uint64_t free[kWords] = {}; // a set bit marks a free slot
};

// Slots start after the chunk's header, at a cache line: an object of two lines then fills two.
constexpr std::size_t kLine = 64;
constexpr std::size_t kFirstSlot = (sizeof(Chunk) + kLine - 1) / kLine * kLine;

struct SizeClass
{
    std::size_t bytes = 0; // slot size, 0 for an unused class
    std::size_t slotsPerChunk = 0;
    Chunk* first = nullptr;
    Chunk* last = nullptr;
    Chunk* lowest = nullptr; // no chunk before it has a free slot
};

// The sizes asked for are few (the object classes, list blocks, a double, a point, a line);
// larger sizes and any beyond the classes go to the allocator directly.
constexpr int kClasses = 24;

// Without the opt-in, and under AddressSanitizer or valgrind, every slot is an allocation of its
// own: the memory checkers then see each object's bounds, its use after deletion and its leak.
bool CheckedAllocation()
{
#if !defined(QSOLVER_SLOT_STORE) || defined(QSOLVER_ADDRESS_SANITIZER)
    return true;
#elif defined(RUNNING_ON_VALGRIND) && !defined(QSOLVER_SLOTS_UNDER_VALGRIND)
    // Profiling builds define QSOLVER_SLOTS_UNDER_VALGRIND to measure the slots under callgrind.
    return RUNNING_ON_VALGRIND != 0;
#else
    return false;
#endif
}

// Initialised before any code runs (every member has a constant initialiser) and never destroyed,
// so objects made or deleted during static construction or destruction elsewhere find it in place.
struct Store
{
    SizeClass classes[kClasses];
    int used = 0;
    // One more than the class of each slot size, by size / kGrain (0: none yet), so that every
    // allocation finds its class in one step.
    std::uint8_t classOf[kLargestSlot / kGrain + 1] = {};
    // The region chunks are carved from, front to back.
    char* regionNext = nullptr;
    std::size_t regionLeft = 0;
    bool regionMapped = false;
};
Store g_store;

// Chunks are carved from regions aligned to, and asked to be backed by, 2 MiB pages where the
// system has them: a large sketch spans a hundred megabytes, and with 4 KiB pages every walk over
// it misses the address translation cache page after page, and the hardware stops reading ahead
// at the end of each page (the drive of a 100,000-point truss takes about a tenth less).
constexpr std::size_t kHugePage = std::size_t{1} << 21;
constexpr std::size_t kRegionBytes = std::size_t{32} << 20;
// The first chunks, all a small sketch needs, stay on small pages: a host with a few objects
// then keeps a few hundred kilobytes, not a large page per kind of object.
[[maybe_unused]] constexpr std::size_t kSmallPagesFirst = std::size_t{4} << 20;
static_assert(kRegionBytes % kChunkBytes == 0 && kHugePage % kChunkBytes == 0,
              "chunks stay aligned to their size");

void* TakeChunkMemory()
{
#if defined(__linux__)
    if (g_store.regionLeft == 0)
    {
        const std::size_t mapped = kRegionBytes + kHugePage;
        void* raw =
            mmap(nullptr, mapped, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        if (raw == MAP_FAILED)
        {
            return nullptr;
        }
        const std::uintptr_t start = reinterpret_cast<std::uintptr_t>(raw);
        const std::uintptr_t aligned = (start + kHugePage - 1) & ~(kHugePage - 1);
        // The slack on either side of the aligned region goes back at once.
        if (aligned > start)
        {
            munmap(raw, aligned - start);
        }
        const std::uintptr_t end = start + mapped;
        if (end > aligned + kRegionBytes)
        {
            munmap(reinterpret_cast<void*>(aligned + kRegionBytes), end - aligned - kRegionBytes);
        }
        // Only a hint: without large pages the region works the same.
        const std::size_t small = g_store.regionMapped ? 0 : kSmallPagesFirst;
        madvise(reinterpret_cast<void*>(aligned + small), kRegionBytes - small, MADV_HUGEPAGE);
        g_store.regionMapped = true;
        g_store.regionNext = reinterpret_cast<char*>(aligned);
        g_store.regionLeft = kRegionBytes;
    }
    void* chunk = g_store.regionNext;
    g_store.regionNext += kChunkBytes;
    g_store.regionLeft -= kChunkBytes;
    return chunk;
#else
    return ::operator new (kChunkBytes, std::align_val_t{kChunkBytes}, std::nothrow);
#endif
}

// The index of the lowest set bit of a non-zero word.
int LowestBit(std::uint64_t bits)
{
#if defined(__GNUC__)
    return __builtin_ctzll(bits);
#else
    int bit = 0;
    while ((bits & 1) == 0)
    {
        bits >>= 1;
        ++bit;
    }
    return bit;
#endif
}

std::size_t SlotSize(std::size_t bytes)
{
    const std::size_t size = bytes == 0 ? kGrain : bytes;
    return (size + kGrain - 1) / kGrain * kGrain;
}

SizeClass* ClassFor(std::size_t bytes, bool create)
{
    const std::size_t size = SlotSize(bytes);
    if (size > kLargestSlot)
    {
        return nullptr;
    }
    std::uint8_t& index = g_store.classOf[size / kGrain];
    if (index != 0)
    {
        return &g_store.classes[index - 1];
    }
    // Under the memory checkers no class is ever made.
    if (!create || g_store.used == kClasses || CheckedAllocation())
    {
        return nullptr;
    }
    SizeClass& c = g_store.classes[g_store.used++];
    index = static_cast<std::uint8_t>(g_store.used);
    c.bytes = size;
    c.slotsPerChunk = (kChunkBytes - kFirstSlot) / size;
    return &c;
}

Chunk* NewChunk(SizeClass& c)
{
    void* memory = TakeChunkMemory();
    if (memory == nullptr)
    {
        return nullptr;
    }
    Chunk* chunk = new (memory) Chunk();
    chunk->ordinal = c.last != nullptr ? c.last->ordinal + 1 : 0;
    chunk->freeCount = c.slotsPerChunk;
    for (std::size_t slot = 0; slot < c.slotsPerChunk; slot += 64)
    {
        const std::size_t left = c.slotsPerChunk - slot;
        chunk->free[slot / 64] = left >= 64 ? ~std::uint64_t{0} : (std::uint64_t{1} << left) - 1;
    }
    if (c.last != nullptr)
    {
        c.last->next = chunk;
    }
    else
    {
        c.first = chunk;
    }
    c.last = chunk;
    return chunk;
}
} // namespace

bool sktSlotsArePooled() noexcept
{
    return !CheckedAllocation();
}

void* sktTakeSlot(std::size_t bytes) noexcept
{
    SizeClass* c = ClassFor(bytes, true);
    if (c == nullptr)
    {
        return ::operator new(bytes, std::nothrow);
    }
    Chunk* chunk = c->lowest != nullptr ? c->lowest : c->first;
    while (chunk != nullptr && chunk->freeCount == 0)
    {
        chunk = chunk->next;
    }
    if (chunk == nullptr && (chunk = NewChunk(*c)) == nullptr)
    {
        return nullptr;
    }
    c->lowest = chunk;
    std::size_t word = chunk->firstWord;
    while (chunk->free[word] == 0)
    {
        ++word;
    }
    chunk->firstWord = word;
    const std::uint64_t bits = chunk->free[word];
    const int bit = LowestBit(bits);
    chunk->free[word] = bits & (bits - 1);
    --chunk->freeCount;
    const std::size_t slot = word * 64 + static_cast<std::size_t>(bit);
    return reinterpret_cast<char*>(chunk) + kFirstSlot + slot * c->bytes;
}

void* sktTakeSlotOrThrow(std::size_t bytes)
{
    // As the global operator new: the new-handler may free memory; without one, throw.
    for (;;)
    {
        if (void* slot = sktTakeSlot(bytes))
        {
            return slot;
        }
        std::new_handler handler = std::get_new_handler();
        if (handler == nullptr)
        {
            throw std::bad_alloc();
        }
        handler();
    }
}

void sktGiveSlot(void* slot, std::size_t bytes) noexcept
{
    if (slot == nullptr)
    {
        return;
    }
    SizeClass* c = ClassFor(bytes, false);
    if (c == nullptr)
    {
        ::operator delete(slot);
        return;
    }
    const std::uintptr_t address = reinterpret_cast<std::uintptr_t>(slot);
    Chunk* chunk = reinterpret_cast<Chunk*>(address & ~(std::uintptr_t{kChunkBytes} - 1));
    const std::size_t index =
        (address - reinterpret_cast<std::uintptr_t>(chunk) - kFirstSlot) / c->bytes;
    const std::size_t word = index / 64;
    chunk->free[word] |= std::uint64_t{1} << (index % 64);
    ++chunk->freeCount;
    if (word < chunk->firstWord)
    {
        chunk->firstWord = word;
    }
    if (c->lowest == nullptr || chunk->ordinal < c->lowest->ordinal)
    {
        c->lowest = chunk;
    }
}
