#include <base/init/inInitGuard.h>
#include <resmgt/messages/msgManager.h>
#include <resmgt/messages/msgServer.h>

#include <benchmark/benchmark.h>

/// Names are those of the work, then of who does it. Time is real time.
///
/// - manyRequests, oneRequest, emptyGate: the engine; see engineBenchmark.cpp.
/// - makeWriteRemove, depth, traffic, amongMany: the media cache; see fileBenchmark.cpp.
int main( int argc, char** argv ) {
    benchmark::Initialize( &argc, argv );
    const Qv::InInitGuard packages( argc, argv );
    // Servers announce themselves.
    const Qv::OPtr<Qv::MsgManager> former(
        Qv::MsgServer::getInstance().setManager( Qv::OPtr<Qv::MsgManager>() ) );
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
