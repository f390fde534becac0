#pragma once

#include <resmgt/resmgtApi.h>

namespace Qv {

class MtThread;

/// The code that a thread runs, and the way to ask it to end.
///
/// Stopping: is cooperative. Nothing ends a body from outside, so `performStop` must make
///           `performExecute` return; the destructor of the thread waits for that.
/// Locks:    `performStop` runs under the thread's own lock, the three others under none. So
///           `performStop` asks neither MtThreadMgr nor the graph of priorities, whose locks come
///           first. A body may ask its thread for its name and the like while it holds a lock of
///           its own only if `performStop` doesn't take that lock.
class QV_RESMGT_API MtThreadProtocol {
public:
    MtThreadProtocol() = default;
    MtThreadProtocol( const MtThreadProtocol& ) = delete;
    MtThreadProtocol& operator=( const MtThreadProtocol& ) = delete;
    virtual ~MtThreadProtocol();

    /// The thread object has been made; its node stands in the priority graph. An exception of this
    /// undoes the thread, and goes to the code that makes it. Nothing by default.
    virtual void performAttach( MtThread* thread );
    /// The protocol is taken off, or the thread object is being destroyed. Relations of the
    /// thread's node that `performAttach` has made go here. Nothing by default.
    virtual void performDetach( MtThread* thread );
    /// The thread's body, on the new thread.
    virtual void performExecute( MtThread* thread ) = 0;
    /// Asks the body to end, from any thread, also when it isn't running. It must not wait for the
    /// body. Nothing by default.
    virtual void performStop( MtThread* thread );
};

} // namespace Qv
