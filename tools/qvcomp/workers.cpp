#include <tools/qvcomp/workers.h>

#include <tools/qvcomp/failure.h>

#include <base/failure/assertions.h>

namespace Qv::Comp {

std::unique_ptr<Workers> makeWorkers( const char* name, unsigned count, std::uint32_t maxQueued ) {
    try {
        return std::make_unique<Workers>( LiString( name ), count,
                                          MtGroupOptions{ .maximumSize = maxQueued } );
    } catch( const ExAssertionFailed& ) {
        // What `start` makes of a thread that the system refuses.
        throw Failure( Tag::NO_THREADS );
    }
}

Producer::Producer( Workers& workers )
    : _workers( workers )
    , _tag( workers.registerProducer() ) {}

Producer::~Producer() {
    finish();
    _workers.endProducer( _tag );
}

} // namespace Qv::Comp
