#pragma once

#include <cstddef>

namespace Qv {

/// Memory for elements that are made together, one behind the other in blocks; what belongs to the
/// newest of them may lie behind it. A block goes when all its elements have gone and the arena
/// looks for room elsewhere.
///
/// Threads: one for the arena; any for the elements' end.
/// Errors:  std::bad_alloc, with nothing changed.
class XmlArena {
public:
    XmlArena() noexcept = default;
    XmlArena( const XmlArena& ) = delete;
    XmlArena& operator=( const XmlArena& ) = delete;
    ~XmlArena() { retire(); }

    /// For an element, of which there can be any number; `release` takes it back.
    void* allocate( std::size_t size );
    /// The same from the heap, without an arena.
    static void* allocateAlone( std::size_t size );
    static void release( void* element ) noexcept;

    bool isNewest( const void* element ) const noexcept { return element == _newest; }
    /// `size` bytes right behind the newest element and what was appended to it, to be used no
    /// longer than it; XmlCopy::SLACK bytes behind them can be read and never change. Null where
    /// the block has no room.
    char* append( std::size_t size ) noexcept {
        if( static_cast<std::size_t>( _end - _next ) < size ) {
            return nullptr;
        }
        char* const memory = _next;
        _next += size;
        _hasAppended = true;
        return memory;
    }

    /// Elements that go together, whose blocks are asked once for all in a row.
    class Releases;

private:
    struct Block;
    struct Prefix;

    void begin( std::size_t size );
    void retire() noexcept;
    static Block* getBlock( void* element ) noexcept;
    static void drop( Block* block, int count ) noexcept;

    Block* _block = nullptr;
    char* _next = nullptr;
    char* _end = nullptr;
    void* _newest = nullptr;
    /// Something lies behind it.
    bool _hasAppended = false;
    /// Elements that were made in the block.
    int _nbMade = 0;
    std::size_t _blockSize = 0;
};

class XmlArena::Releases {
public:
    Releases() noexcept = default;
    Releases( const Releases& ) = delete;
    Releases& operator=( const Releases& ) = delete;
    ~Releases() { finish(); }

    /// Takes the memory of an element that is destroyed.
    void add( void* element ) noexcept;

private:
    void finish() noexcept;

    Block* _block = nullptr;
    int _count = 0;
};

} // namespace Qv
