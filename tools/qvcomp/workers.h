#pragma once

#include <resmgt/threadExtensions/mtGroup.h>
#include <resmgt/threadExtensions/mtTask.h>

#include <cstdint>
#include <memory>
#include <queue>
#include <utility>

namespace Qv::Comp {

/// Threads that run tasks.
using Workers = MtGroup<std::queue<MtTask>>;

/// So many threads, none included; at most `maxQueued` tasks wait for them.
///
/// Errors: Failure when the system allows no more threads.
std::unique_ptr<Workers> makeWorkers( const char* name, unsigned count, std::uint32_t maxQueued );

/// One that gives tasks to workers and waits for them.
///
/// Lifetime: the end finishes its tasks.
class Producer {
public:
    explicit Producer( Workers& workers );
    Producer( const Producer& ) = delete;
    Producer& operator=( const Producer& ) = delete;
    ~Producer();

    /// `work` raises nothing.
    template <class Work>
    void push( Work work ) {
        _workers.push( makeTask( std::move( work ) ) );
    }
    /// False when too many tasks wait; nothing has happened then.
    template <class Work>
    bool tryPush( Work work ) {
        return _workers.tryPush( makeTask( std::move( work ) ) );
    }
    /// Runs the tasks that no worker has begun, and waits for the others.
    void finish() { _workers.workAlong( _tag ); }

private:
    template <class Work>
    class Task final : public MtTaskImp {
    public:
        explicit Task( Work work )
            : _work( std::move( work ) ) {}

    private:
        void perform() override { _work(); }

        Work _work;
    };

    template <class Work>
    MtTask makeTask( Work work ) {
        return MtTask( _tag, RCShdPtr<MtTaskImp>( new Task<Work>( std::move( work ) ) ) );
    }

    Workers& _workers;
    const MtRequestTag _tag;
};

} // namespace Qv::Comp
