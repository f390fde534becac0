#include <base/values/dtRefTimeFactory.h>

#include <base/failure/assertions.h>
#include <base/init/inSingleton.imp>

namespace Qv {

template class InSingleton<DtRefClockSource>;

DtRefClockSource::DtRefClockSource( const char* name, Rational rate, Rational resolution ) noexcept
    : _name( name )
    , _rate( rate )
    , _resolution( resolution ) {}

DtRefClockSource::~DtRefClockSource() = default;

void DtRefTimeFactory::initialize( OPtr<DtRefClockSource> source ) {
    QV_ASSERT( source );
    InSingleton<DtRefClockSource>::initialize( source );
}

void DtRefTimeFactory::finalize() {
    InSingleton<DtRefClockSource>::finalize();
}

bool DtRefTimeFactory::isInitialized() noexcept {
    return InSingleton<DtRefClockSource>::isInitialized();
}

const DtRefClockSource& DtRefTimeFactory::getSource() {
    return InSingleton<DtRefClockSource>::getInstance();
}

} // namespace Qv
