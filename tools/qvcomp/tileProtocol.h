#pragma once

#include <resmgt/memoryBuffers/mbProtocol.h>
#include <tools/qvcomp/spill.h>

#include <optional>

namespace Qv::Comp {

/// Keeps one tile in a slot of the scratch file while it is out of memory. A tile that was only
/// read since it came back isn't written again.
///
/// Threads: the buffer calls one operation at a time; an asynchronous one runs on the worker, or at
///          once in the calling thread when the worker has enough to do.
/// Errors:  of a transfer: Failure to who waits for it; a failure that nobody waits for goes to the
///          note of the spill as well.
class TileProtocol : public MbProtocol {
public:
    /// `spill` must outlive this object.
    explicit TileProtocol( Spill& spill );
    ~TileProtocol() override;

    void reload( void* memory, unsigned long long size ) override;
    void asyncReload( void* memory, unsigned long long size, LkAsyncHandle* handle ) override;
    void sync( void* memory, unsigned long long size ) override;
    void asyncSync( void* memory, unsigned long long size, LkAsyncHandle* handle ) override;
    bool unload( void* memory, unsigned long long size ) override;
    void free( void* memory, unsigned long long size ) override;
    void markDirty( void* memory, unsigned long long size ) override;

private:
    /// Has `transfer` done by the worker, and its end reported to `handle`. Not before the report
    /// does the buffer go on, and after it this object may be gone.
    template <class Transfer>
    void runAsync( LkAsyncHandle* handle, const Transfer& transfer );
    void giveSlotBack() noexcept;

    Spill& _spill;
    std::optional<std::size_t> _slot;
    /// The slot holds what the memory holds.
    bool _isStored = false;
};

} // namespace Qv::Comp
