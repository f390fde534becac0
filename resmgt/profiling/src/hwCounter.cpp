#include <resmgt/profiling/hwCounter.h>

#include <resmgt/profiling/src/hwCounterEng.h>

#include <atomic>

namespace Qv {

namespace {

// Never destroyed: what ends after the packages still takes stamps. Constant initialisation lets
// stamps be taken before any constructor has run.
//
// Order: the builder's release is paired with each reader's acquire, so that the engine that is
// found is complete.
std::atomic<const HwCounterEng*> engine{ nullptr };

/// Of several first callers each may build an engine; all use the one that comes first.
const HwCounterEng& install() {
    OPtr<HwCounterEng> made( HwCounterEng::create() );
    const HwCounterEng* present = nullptr;
    if( engine.compare_exchange_strong( present, made.get(), std::memory_order_acq_rel,
                                        std::memory_order_acquire ) ) {
        return *made.release();
    }
    return *present;
}

} // namespace

const HwCounterEng& HwCounter::getEngine() {
    const HwCounterEng* const present = engine.load( std::memory_order_acquire );
    return present != nullptr ? *present : install();
}

std::uint64_t HwCounter::timeStamp() {
    return getEngine().timeStamp();
}

double HwCounter::seconds( std::uint64_t t0, std::uint64_t t1 ) {
    return getEngine().seconds( t0, t1 );
}

double HwCounter::seconds() {
    return getEngine().seconds();
}

double HwCounter::resolution() {
    return getEngine().resolution();
}

int HwCounter::getRateNumerator() {
    return getEngine().getRateNumerator();
}

int HwCounter::getRateDenominator() {
    return getEngine().getRateDenominator();
}

void HwCounter::dump( std::ostream& stream ) {
    getEngine().dump( stream );
}

} // namespace Qv
