#pragma once

#include <resmgt/content/src/ctAsyncRequest.h>
#include <resmgt/threadExtensions/mtGroup.h>

#include <utility>

namespace Qv {

/// The workers of a server and their queue, of either kind.
class CtNonAsyncServer::AsyncGroup {
public:
    AsyncGroup() = default;
    AsyncGroup( const AsyncGroup& ) = delete;
    AsyncGroup& operator=( const AsyncGroup& ) = delete;
    virtual ~AsyncGroup() noexcept( false );

    /// Null without workers of either kind. The server's gate stands if they are to be priority
    /// workers.
    static OPtrRet<AsyncGroup> create( CtNonAsyncServer& server, const CtEngineOptions& options );

    /// Waits for room, except on an own worker.
    virtual void push( AsyncRequest&& request ) = 0;
    virtual bool isOwnWorker() const noexcept = 0;
    /// Waits for all requests, and stops the workers.
    virtual void drain() = 0;
    virtual MtPoolSnapshot getSnapshot() const = 0;
};

template <class Container>
class CtNonAsyncServer::Workers : public AsyncGroup {
public:
    using Item = typename Container::value_type;

    Workers( const char* name, int nbThreads, CtNonAsyncServer& server )
        : _server( server )
        , _group( name, static_cast<unsigned int>( nbThreads ) )
        , _relation( name, _group, PriorityRelation::EQUAL, server.getServerPriority() )
        , _tag( _group.registerProducer() ) {}

    bool isOwnWorker() const noexcept override { return _group.isOwnWorker(); }
    void drain() override {
        if( _tag.isValid() ) {
            _group.waitRequestCountZero( _tag );
            _group.endProducer( std::exchange( _tag, MtRequestTag() ) );
            _group.stop();
        }
    }
    MtPoolSnapshot getSnapshot() const override { return _group.getSnapshot(); }

protected:
    void pushItem( Item&& item ) {
        item.setTag( _tag );
        _group.push( std::move( item ) );
    }

    CtNonAsyncServer& _server;

private:
    MtGroup<Container> _group;
    const PriorityRelation _relation;
    // The last to be made, since a group can't go while it has a producer.
    MtRequestTag _tag;
};

} // namespace Qv
