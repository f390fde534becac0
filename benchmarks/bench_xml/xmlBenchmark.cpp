#include <base/init/inInitGuard.h>

#include <benchmark/benchmark.h>

/// Names are those of the work, then of who does it: "Qv" ours, the others the peers.
int main( int argc, char** argv ) {
    benchmark::Initialize( &argc, argv );
    const Qv::InInitGuard guard( argc, argv );
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
