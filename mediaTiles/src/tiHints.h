#pragma once

#include <base/locks/lkAnnotations.h>
#include <base/locks/lkLock.h>
#include <resmgt/content/ctHint.h>

#include <cstddef>

namespace Qv {

class TiHints;

/// The place of one block's hint.
class TiHint {
public:
    TiHint() = default;
    TiHint( const TiHint& ) = delete;
    TiHint& operator=( const TiHint& ) = delete;
    ~TiHint();

private:
    friend class TiHints;

    // All guarded by the lock of TiHints.
    CtHintPtr _hint;
    /// Not null as long as there is a hint, but at the ends.
    TiHint* _newer = nullptr;
    TiHint* _older = nullptr;
};

/// The hints that all stores of the process keep. Those that go are the ones which nobody has used
/// for longest.
///
/// Limit:   of the number of hints; requests that are under way may hold some that aren't kept any
///          more.
/// Lock:    held to link and unlink; neither across a transfer nor while a hint ends, which closes
///          a file and may take its time.
/// Threads: any, also for one place.
class TiHints {
public:
    static TiHints& getInstance();

    TiHints( const TiHints& ) = delete;
    TiHints& operator=( const TiHints& ) = delete;

    /// Looks anew at what the limit depends on.
    void refreshLimit() noexcept;

    CtHintPtr get( const TiHint& place ) const noexcept;
    /// `hint` is now the one that was used last. A null one frees the place.
    void keep( TiHint& place, CtHintPtr hint ) noexcept;

private:
    TiHints() = default;

    void link( TiHint& place ) noexcept QV_REQUIRES( _lock );
    void unlink( TiHint& place ) noexcept QV_REQUIRES( _lock );
    bool isBeyondLimit() const noexcept QV_REQUIRES( _lock ) { return _nbKept > _limit; }
    void trim() noexcept;
    CtHintPtr takeSurplus() noexcept;

    const LkLock _lock{ "ti-hints" };
    TiHint* _newest QV_GUARDED_BY( _lock ) = nullptr;
    TiHint* _oldest QV_GUARDED_BY( _lock ) = nullptr;
    std::size_t _nbKept QV_GUARDED_BY( _lock ) = 0;
    std::size_t _limit QV_GUARDED_BY( _lock ) = 0;
};

} // namespace Qv
