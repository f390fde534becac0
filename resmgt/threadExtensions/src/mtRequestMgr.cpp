#include <resmgt/threadExtensions/mtRequestMgr.h>

#include <base/locks/lkGuard.h>
#include <resmgt/threadExtensions/src/mtRequestZero.h>

namespace Qv {

namespace {

using Guard = LkGuard<const LkLock>;

} // namespace

thread_local constinit const MtRequestMgr::InWork* MtRequestMgr::InWork::innermost = nullptr;

MtRequestMgr::MtRequestMgr() = default;

MtRequestMgr::~MtRequestMgr() = default;

MtRequestTag MtRequestMgr::acquireTag() {
    const Guard guard( _lock );
    _counters.emplace_back();
    return MtRequestTag( std::prev( _counters.end() ) );
}

void MtRequestMgr::releaseTag( MtRequestTag tag ) {
    const Guard guard( _lock );
    QV_ASSERT( tag.isValid() );
    QV_ASSERT_TEXT( getCount( tag ).load( std::memory_order_relaxed ) == 0,
                    "(*tag._id).first == 0" );
    _counters.erase( *tag._id );
}

unsigned int MtRequestMgr::getRequestCount( MtRequestTag tag ) const {
    QV_ASSERT( tag.isValid() );
    return getCount( tag ).load( std::memory_order_acquire );
}

void MtRequestMgr::decrementLast( const MtRequestTag& tag ) {
    const Guard guard( _lock );
    std::atomic<std::uint32_t>& count = getCount( tag );
    // Another request may have been counted meanwhile.
    if( decrementAboveOne( count ) ) {
        return;
    }
    QV_ASSERT_TEXT( count.load( std::memory_order_relaxed ) != 0, "(*tag._id).first != 0" );
    const bool isZero = count.fetch_sub( 1, std::memory_order_acq_rel ) == 1;
    if( isZero && ( *tag._id )->second ) {
        ( *tag._id )->second->wakeAll();
        _poked.broadcast();
    }
}

RCShdPtr<MtRequestZero> MtRequestMgr::findZero( const MtRequestTag& tag ) {
    QV_ASSERT( tag.isValid() );
    QV_ASSERT( !isInWork( tag ) );
    if( getCount( tag ).load( std::memory_order_acquire ) == 0 ) {
        return {};
    }
    RCShdPtr<MtRequestZero>& zero = ( *tag._id )->second;
    if( zero.isNull() ) {
        zero = RCShdPtr<MtRequestZero>( new MtRequestZero );
    }
    return zero;
}

void MtRequestMgr::waitRequestCountZero( MtRequestTag tag ) {
    const Guard guard( _lock );
    if( const RCShdPtr<MtRequestZero> zero = findZero( tag ) ) {
        zero->wait( _lock );
    }
}

bool MtRequestMgr::timedWaitRequestCountZero( MtRequestTag tag, double seconds ) {
    const Guard guard( _lock );
    const RCShdPtr<MtRequestZero> zero = findZero( tag );
    return zero.isNull() || zero->timedWait( _lock, seconds );
}

MtRequestMgr::WaitResult MtRequestMgr::waitZeroOrPoke( MtRequestTag tag, std::uint64_t nbPokes,
                                                       double seconds ) {
    const Guard guard( _lock );
    const RCShdPtr<MtRequestZero> zero = findZero( tag );
    if( zero.isNull() ) {
        return ZERO;
    }
    const std::uint64_t nbZeros = zero->getNbZeros();
    const bool isOver = _nbPokes == nbPokes && !_poked.timedWait( _lock, seconds );
    if( zero->getNbZeros() != nbZeros ) {
        return ZERO;
    }
    return isOver && _nbPokes == nbPokes ? TIME_OUT : POKED;
}

std::uint64_t MtRequestMgr::getNbPokes() const {
    const Guard guard( _lock );
    return _nbPokes;
}

void MtRequestMgr::poke() {
    const Guard guard( _lock );
    ++_nbPokes;
    _poked.broadcast();
}

bool MtRequestMgr::isInWork( MtRequestTag tag ) const noexcept {
    for( const InWork* inWork = InWork::innermost; inWork != nullptr; inWork = inWork->_outer ) {
        if( &inWork->_mgr == this && inWork->_tag == tag ) {
            return true;
        }
    }
    return false;
}

bool MtRequestMgr::isInWork() const noexcept {
    for( const InWork* inWork = InWork::innermost; inWork != nullptr; inWork = inWork->_outer ) {
        if( &inWork->_mgr == this ) {
            return true;
        }
    }
    return false;
}

} // namespace Qv
