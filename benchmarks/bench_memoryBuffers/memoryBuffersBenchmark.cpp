#include <base/init/inInitGuard.h>

#include <benchmark/benchmark.h>

/// Names are those of the work, then of who does it: "Mb..." ours, the others the peers. Time is
/// the real time and CPU the processor time of all threads, both for one lock, turn or access of
/// any thread. Threads that lock stay on one processor each, since unpinned pairs are bimodal.
///
/// - lockHeld: a read lock and its end on a buffer that is locked already; beside a counter that a
///   mutex guards, up and down again.
/// - lockLoaded: the first lock and the last unlock of a buffer in memory, in a random order, other
///   buffers for each thread; beside a look-up and release in three tile caches.
/// - lockShared: the same where all threads go through all buffers, each in its own order, so that
///   processors take a buffer's words from each other.
/// - memory: what a buffer takes beside its handle, its protocol and its content, in bytes, when it
///   has no memory ("absent") and when it can be evicted ("listed").
/// - turns: threads take turns at four places, and each turn needs memory; beside two semaphores.
///   The work of a turn is 100 us of computing or of sleeping.
/// - traffic: random reads and writes of buffers, four times the limit, in one file; beside a plain
///   LRU of malloc'ed tiles. 30 of 100 write. Each access reads or writes all bytes.
/// - peak: threads read buffers of 64 KiB, four times the limit: the process's peak resident memory
/// less
///   what it had before, beside the limit.
int main( int argc, char** argv ) {
    benchmark::Initialize( &argc, argv );
    const Qv::InInitGuard guard( argc, argv );
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
