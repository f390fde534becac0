#include <resmgt/threads/mtThreadFactory.h>
#include <resmgt/threads/mtThreadProtocol.h>

#include <benchmark/benchmark.h>

#include <thread>

namespace {

using namespace Qv;

class EmptyProtocol : public MtThreadProtocol {
    void performExecute( MtThread* ) override {}
};

OPtr<MtThread> makeThread() {
    OPtr<MtThreadProtocol> protocol( new EmptyProtocol );
    return MtThreadFactory::getInstance().createThread( "bench", protocol, false, 0 );
}

void startMt( benchmark::State& state ) {
    const OPtr<MtThread> thread = makeThread();
    for( auto _ : state ) {
        thread->start();
        thread->join();
    }
}

void makeAndStartMt( benchmark::State& state ) {
    for( auto _ : state ) {
        const OPtr<MtThread> thread = makeThread();
        thread->start();
        thread->join();
    }
}

void startStd( benchmark::State& state ) {
    for( auto _ : state ) {
        std::thread thread( [] {} );
        thread.join();
    }
}

BENCHMARK( startMt )->Name( "startAndJoin/MtThread" )->UseRealTime();
BENCHMARK( makeAndStartMt )->Name( "makeStartAndJoin/MtThread" )->UseRealTime();
BENCHMARK( startStd )->Name( "startAndJoin/std_thread" )->UseRealTime();

} // namespace
