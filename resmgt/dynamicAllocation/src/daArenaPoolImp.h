#pragma once

#include <resmgt/dynamicAllocation/daArenaPool.h>
#include <resmgt/dynamicAllocation/daFirstFitArena.h>

#include <memory>
#include <vector>

namespace Qv {

/// The pool over one arena a piece.
class DaArenaPoolImp final : public DaArenaPool {
public:
    DaArenaPoolImp( DaArenaAllocator* allocator, std::size_t size );
    ~DaArenaPoolImp() noexcept( false ) override;

    void* allocate( std::size_t size, std::size_t alignment ) override;
    void* allocate( std::size_t size ) override;
    void free( void* block ) override;
    std::uint64_t getFreeBytes() const override;
    void dump( std::ostream& stream ) const override;

private:
    void makeArenas();

    std::vector<std::unique_ptr<DaFirstFitArena>> _arenas;
    const DaArenaAllocator::Pieces _pieces;
    std::int32_t _nbAllocated = 0;
};

} // namespace Qv
