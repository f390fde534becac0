#pragma once

#include <base/trace/traceManager.h>
#include <resmgt/threadExtensions/mtGroup.h>
#include <resmgt/threads/mtThreadMgr.h>
#include <tests/support/deadline.h>

#include <functional>
#include <mutex>
#include <string>

namespace Qv {

/// An item that does anything. The greater key comes first in a priority queue.
struct Job : MtRequestBase {
    Job() = default;
    Job( const MtRequestTag& tag, std::function<void()> body, int priority = 0 )
        : MtRequestBase( tag )
        , work( std::move( body ) )
        , key( priority ) {}

    void execute() {
        if( work ) {
            work();
        }
    }
    bool operator<( const Job& other ) const { return key < other.key; }

    std::function<void()> work;
    int key = 0;
};

using JobGroup = MtGroup<std::queue<Job>>;
using PriorityJobGroup = MtGroup<std::priority_queue<Job>>;

/// A producer of a group for a scope.
template <class Group>
class Producer {
public:
    explicit Producer( Group& group )
        : _group( group )
        , _tag( group.registerProducer() ) {}
    Producer( const Producer& ) = delete;
    Producer& operator=( const Producer& ) = delete;
    ~Producer() {
        _group.waitRequestCountZero( _tag );
        _group.endProducer( _tag );
    }

    const MtRequestTag& getTag() const { return _tag; }
    Job make( std::function<void()> work = nullptr, int key = 0 ) const {
        return Job( _tag, std::move( work ), key );
    }
    void push( std::function<void()> work, int key = 0 ) const {
        _group.push( make( std::move( work ), key ) );
    }
    void wait() const { _group.waitRequestCountZero( _tag ); }
    unsigned int count() const { return _group.getRequestMgr().getRequestCount( _tag ); }

private:
    Group& _group;
    const MtRequestTag _tag;
};

/// The threads that the manager knows.
inline unsigned int countThreads() {
    return static_cast<unsigned int>( MtThreadMgr::getInstance().getNbThreads() );
}

/// Waits until so many pushes wait for room.
template <class Group>
void awaitBlocked( const Group& group, unsigned int nbProducers ) {
    waitUntil( [&] { return group.getSnapshot().nbBlockedProducers == nbProducers; },
               "producers are blocked" );
}

/// All trace output of the process while it lives.
class TraceRecord : public TraceManager {
public:
    TraceRecord()
        : TraceManager( 100 )
        , _trace( *this ) {}
    Trace& getTrace() override { return _trace; }
    std::string getText() const {
        const std::lock_guard guard( _mutex );
        return _text;
    }

private:
    struct Recorder : Trace {
        explicit Recorder( TraceRecord& record )
            : _record( record ) {}
        void print( const std::string& line ) override {
            const std::lock_guard guard( _record._mutex );
            _record._text += line;
        }
        TraceRecord& _record;
    };

    mutable std::mutex _mutex;
    std::string _text;
    Recorder _trace;
};

} // namespace Qv
