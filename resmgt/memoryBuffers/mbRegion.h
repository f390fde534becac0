#pragma once

#include <base/trace/trace.h>
#include <resmgt/resmgtApi.h>

#include <cstdint>

namespace Qv {

/// The place of a buffer's bytes: a shallow reference. Its friends use the four addresses; clients
/// only pass it on.
///
/// Ownership: none. The buffer that holds a region owns the memory, through the manager that gave
///            it; at most one buffer holds a given region.
/// Trace:     construction and assignment, under the level "MbRegion".
/// Threads:   a plain value.
class QV_RESMGT_API MbRegion {
public:
    /// No memory: four zeros.
    MbRegion();
    /// `header` is what the manager got from its allocator, `memory` the buffer's first byte,
    /// already aligned. Nothing is checked.
    MbRegion( void* header, void* memory, void* memoryEnd, void* allocationEnd );
    MbRegion( const MbRegion& ) noexcept = default;
    ~MbRegion() = default;

    MbRegion& operator=( const MbRegion& other );

private:
    friend class MbBufferImp;
    friend class MbPoolManager;
    friend class MbHeapManager;
    friend class MbArenaManager;
    friend struct MbTestAccess;

    bool isEmpty() const noexcept { return _memory == nullptr; }
    /// The buffer's size in bytes.
    std::uint64_t getMemorySize() const noexcept { return distance( _memory, _memoryEnd ); }
    /// The size in bytes of the block that the allocator gave.
    std::uint64_t getAllocationSize() const noexcept { return distance( _header, _allocationEnd ); }
    static std::uint64_t distance( const void* begin, const void* end ) noexcept {
        return reinterpret_cast<std::uintptr_t>( end ) - reinterpret_cast<std::uintptr_t>( begin );
    }

    static bool isTraced() noexcept {
        return _traceLevel != nullptr && Trace::isEnabled( *_traceLevel );
    }
    void traceDefault() const noexcept;
    void traceFilled() const noexcept;
    void traceAssignment( const MbRegion& other ) const noexcept;

    // Null until this package's statics are built.
    static TraceLevel* const _traceLevel;

    void* _header;
    void* _memory;
    void* _memoryEnd;
    void* _allocationEnd;
};

} // namespace Qv

#include <resmgt/memoryBuffers/mbRegion.inline>
