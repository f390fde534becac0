#include <base/init/inInitGuard.h>

#include <benchmark/benchmark.h>

/// Names are those of the work, then of who does it: "Mt..." ours, the others the peers. Time is
/// real time.
///
/// - startAndJoin: a thread with an empty body from its start to its join; ours has its object
///   already, as one that is started again.
/// - makeStartAndJoin: the same with the making and the end of the object, which has a node in the
///   graph of priorities.
/// - emptyTasks, oneTask, oneTaskWaited: pools; see poolBenchmark.cpp.
int main( int argc, char** argv ) {
    benchmark::Initialize( &argc, argv );
    const Qv::InInitGuard packages( argc, argv );
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
