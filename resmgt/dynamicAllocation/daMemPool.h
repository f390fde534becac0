#pragma once

#include <base/qvBaseApi.h>
#include <resmgt/resmgtApi.h>

#include <cstddef>
#include <cstdint>
#include <new>

namespace Qv {

/// Any number of threads, one compare-and-swap each for `alloc` and `free`. A push on the free list
/// makes the version tag of its head zero. So two threads may be given one node: one that is
/// stalled within `alloc`, after it has read head and link, is deceived when others meanwhile take
/// that node and the one below it, and free the first again. If it is stalled between head and
/// link, what the node's owner has written there may be taken for the link, and given out. It is
/// there for clients that exclude this; others take one of the two forms below.
class QV_RESMGT_API DaMemPoolTraits;
/// The same, but a push keeps the tag, and each pop adds one. A stalled `alloc` is deceived only if
/// it misses exactly n * 65,536 others, n > 0, and then finds its node first again.
class QV_RESMGT_API DaMemPoolTaggedTraits;
/// Any number of threads; no node is ever given to two, whichever thread is stalled, and wherever.
/// Each thread keeps up to two magazines of free nodes a size class, of at most 64 nodes and 16 KiB
/// (one node of a larger class), so that most calls of `alloc` and `free` touch nothing that is
/// shared; whole magazines go through a depot without a lock. A thread's end returns its nodes, a
/// pool's end leaves nothing to return. The fastest form, and the one to choose.
class QV_RESMGT_API DaMemPoolCachedTraits;
/// For one thread: plain reads and writes.
class QV_RESMGT_API DaMemPoolSThreadTraits;

/// Gives out small blocks from free lists, one a size class; a request gets the next power of two
/// of its size, at least 8 bytes. Memory is taken from the system in chunks of many nodes, and
/// given back when the pool ends.
///
/// `Traits` is one of the four above; others have no code in the library.
///
/// Threads:   as the traits say. Construction and destruction exclude everything else, except for
///            the end of a thread that has used the pool.
/// Alignment: a node's address is a multiple of its size or of a cache line, whichever is smaller.
/// Lifetime:  nodes in use die with the pool, which doesn't report them.
/// Errors:    `std::bad_alloc` from `alloc` without memory for a chunk, or for the record of its
///            nodes; a chunk whose size passes the largest `std::size_t` is
///            `std::bad_array_new_length`, and isn't counted. Misuse is an assertion. What a client
///            must see to: a node is freed once, to its own pool, with the size that `alloc` was
///            given, or another of the same class.
/// Sanitizer: under the address sanitizer a free node is poisoned behind its first 8 bytes, and a
///            node in use behind the size asked for.
/// Trace:     the level "DaMemPool" reports each chunk.
///
///     DaMemPool<DaMemPoolCachedTraits> pool( "records", 128, 65'536, 1'000 );
///     void* const record = pool.alloc( 100 );
///     ...
///     pool.free( record, 100 );
template <class Traits>
class QV_TEMPLATE_API DaMemPool {
public:
    /// `name` is kept, not copied. Blocks have up to `maxSize` bytes. A chunk has about
    /// `chunkBytes` bytes of nodes, at least one node, and at most `maxNodesPerChunk` nodes, which
    /// isn't 0.
    DaMemPool( const char* name, std::size_t maxSize, std::size_t chunkBytes,
               std::size_t maxNodesPerChunk );
    DaMemPool( const DaMemPool& ) = delete;
    DaMemPool& operator=( const DaMemPool& ) = delete;
    ~DaMemPool();

    /// Null for the size 0. A node that was never used holds the 32-bit word 0xCAFEDEAD all over,
    /// except its first 8 bytes. Asserts "size <= _maxSize".
    void* alloc( std::size_t size );
    /// Null does nothing. Asserts "size <= _maxSize"; needs no memory.
    void free( void* node, std::size_t size );

    const char* getName() const noexcept { return _name; }
    std::size_t getMaxSize() const noexcept { return static_cast<std::size_t>( _maxSize ); }
    /// In bytes: a cache line. Beyond it nodes are aligned by chance.
    std::size_t getMaxAlignment() const noexcept { return _cacheLineSize; }
    /// The bytes taken from the system for nodes, modulo 2 to the power of 32.
    std::uint32_t getTotalSize() const noexcept;

private:
    struct Pool;
    struct OperatorDelete {
        void operator()( void* memory ) const noexcept { ::operator delete[]( memory ); }
    };

    // Of nodes of 8 bytes.
    static constexpr std::int32_t LOWEST_CLASS = 3;

    static int getNodeClass( std::size_t size ) noexcept;
    Pool& getPool( int nodeClass ) const noexcept;
    void checkSize( std::size_t size ) const;
    // Apart, since `alloc` would save registers for it each time.
    [[gnu::noinline]] void* allocSlowly( int nodeClass );
    void addChunk( int nodeClass );
    std::size_t getChunkBytes( const Pool& pool, int nodeClass ) const;
    char* alignDown( char* place ) const noexcept;
    void pushNodes( Pool& pool, char* nodes, int nodeClass );
    void pushNode( Pool& pool, void* node, int nodeClass );

    const char* const _name;
    const std::uint64_t _maxSize;
    const std::int32_t _lowestClass;
    const std::int32_t _highestClass;
    void* _rawPools;
    char* _pools;
    mutable std::uint32_t _totalSize = 0;
    std::int32_t _valid = 1;
    const std::size_t _cacheLineSize;
    // From one size class's header to the next: no two share a cache line.
    const std::size_t _poolHdrBytes;
};

extern template class DaMemPool<DaMemPoolTraits>;
extern template class DaMemPool<DaMemPoolTaggedTraits>;
extern template class DaMemPool<DaMemPoolCachedTraits>;
extern template class DaMemPool<DaMemPoolSThreadTraits>;

} // namespace Qv
