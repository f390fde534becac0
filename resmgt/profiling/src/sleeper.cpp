#include <resmgt/profiling/sleeper.h>

#include <base/init/inSingleton.imp>

namespace Qv {

namespace {

struct Sleepers {
    static const char* getSingletonName() noexcept { return "Sleeper"; }

    OPtr<Sleeper> plain;
    OPtr<Sleeper> highRes;
};

} // namespace

void Sleeper::initialize() {
    OPtr<Sleepers> sleepers( new Sleepers );
    sleepers->plain = performCreate();
    sleepers->highRes = performCreateHighRes();
    InSingleton<Sleepers>::initialize( sleepers );
}

void Sleeper::finalize() {
    InSingleton<Sleepers>::finalize();
}

Sleeper& Sleeper::getInstance() {
    return *InSingleton<Sleepers>::getInstance().plain;
}

Sleeper& Sleeper::getHighResInstance() {
    return *InSingleton<Sleepers>::getInstance().highRes;
}

bool Sleeper::sleepIfPossible( double seconds ) const {
    sleep( seconds );
    return true;
}

} // namespace Qv
