#include <tools/qvcomp/asyncWorker.h>

#include <algorithm>
#include <limits>

namespace Qv::Comp {

AsyncWorker::AsyncWorker( Workers& computing, std::size_t maxPending ) {
    if( maxPending < 2 ) {
        return;
    }
    // One is at work, the others wait.
    const std::size_t maxQueued =
        std::min<std::size_t>( maxPending - 1, std::numeric_limits<std::uint32_t>::max() );
    _workers = makeWorkers( "qvcomp-transfer", 1, static_cast<std::uint32_t>( maxQueued ) );
    _neverAbove = OPtr<PriorityRelation>( new PriorityRelation(
        "transfer<=compute", *_workers, PriorityRelation::LESS_OR_EQUAL, computing ) );
    _producer.emplace( *_workers );
}

MtPoolSnapshot AsyncWorker::getSnapshot() const {
    return _workers ? _workers->getSnapshot() : MtPoolSnapshot();
}

} // namespace Qv::Comp
