#pragma once

#include <base/failure/assertions.h>
#include <resmgt/threads/mtThreadFactory.h>
#include <resmgt/threads/mtThreadMgr.h>
#include <resmgt/threads/mtThreadProtocol.h>
#include <tests/support/failingNew.h>
#include <tests/support/raisedBy.h>

#include <cstddef>
#include <functional>
#include <new>
#include <string>
#include <utility>

namespace Qv {

/// A protocol of functions; those that are empty do nothing.
class TestProtocol : public MtThreadProtocol {
public:
    using Step = std::function<void( MtThread& thread )>;

    explicit TestProtocol( Step body = nullptr )
        : onExecute( std::move( body ) ) {}

    Step onAttach;
    Step onDetach;
    Step onExecute;
    Step onStop;

private:
    static void run( const Step& step, MtThread* thread ) {
        if( step ) {
            step( *thread );
        }
    }

    void performAttach( MtThread* thread ) override { run( onAttach, thread ); }
    void performDetach( MtThread* thread ) override { run( onDetach, thread ); }
    void performExecute( MtThread* thread ) override { run( onExecute, thread ); }
    void performStop( MtThread* thread ) override { run( onStop, thread ); }
};

inline OPtr<MtThread> makeThread( OPtr<MtThreadProtocol> protocol, const std::string& name = "test",
                                  bool terminateOnUnhandled = false, int stackSize = 0 ) {
    return MtThreadFactory::getInstance().createThread( name, protocol, terminateOnUnhandled,
                                                        stackSize );
}

inline OPtr<MtThread> makeThread( TestProtocol::Step body, const std::string& name = "test" ) {
    return makeThread( OPtr<MtThreadProtocol>( new TestProtocol( std::move( body ) ) ), name );
}

/// A thread that lives once.
inline void runThread( TestProtocol::Step body, const std::string& name = "test" ) {
    const OPtr<MtThread> thread = makeThread( std::move( body ), name );
    thread->start();
    thread->join();
}

/// The text of the assertion that fails in `body`; empty if none does.
inline std::string assertedBy( const std::function<void()>& body ) {
    const std::string reason = raisedBy<ExAssertionFailed>( body );
    const std::size_t begin = reason.find( '"' ) + 1;
    return reason.substr( begin, reason.rfind( '"' ) - begin );
}

/// For the calling thread no allocation succeeds any more.
inline void exhaustMemory() {
    alignas( FailingNew ) thread_local static std::byte memory[sizeof( FailingNew )];
    // Never destroyed.
    static_cast<void>( new( memory ) FailingNew( 0 ) );
}

inline MtThreadMgr& mgr() {
    return MtThreadMgr::getInstance();
}

} // namespace Qv
