#pragma once

#include <resmgt/literals/liString.h>
#include <resmgt/threads/mtThread.h>

namespace Qv {

class MtThreadMgr;

/// Makes threads.
///
///     OPtr<MtThreadProtocol> protocol( new Painter );
///     MtThreadFactory& factory = MtThreadFactory::getInstance();
///     OPtr<MtThread> thread( factory.createThread( "painter", protocol, false, 0 ) );
///     thread->start();
///
/// Threads: any, from the start of the package threads until its end.
class QV_RESMGT_API MtThreadFactory {
public:
    MtThreadFactory( const MtThreadFactory& ) = delete;
    MtThreadFactory& operator=( const MtThreadFactory& ) = delete;

    /// Available at any time, also before the package starts.
    static MtThreadFactory& getInstance();

    /// A thread that isn't started yet. `name` may be any text: what the system shows of it is its
    /// first 15 bytes, in whole characters, with the number at its end kept. `protocol` may be
    /// null; it is taken over, and left to the caller when this raises. `terminateOnUnhandled`: an
    /// exception that leaves the body ends the process. `stackSize` in bytes, 0 for the default;
    /// one that is too small for a body to run is increased to the least that suffices.
    ///
    /// Errors: the assertion "stackSize >= 0", InSingletonEx before and after the package's time,
    ///         and what `performAttach` raises. Nothing is left of the thread then.
    virtual OPtrRet<MtThread> createThread( const LiString& name, OPtr<MtThreadProtocol>& protocol,
                                            bool terminateOnUnhandled, int stackSize ) = 0;
    /// The range of threads' priorities.
    virtual int getMinPriority() = 0;
    virtual int getMaxPriority() = 0;
    virtual ~MtThreadFactory();
    /// The object that stands for the calling thread, which is the one that starts the packages.
    /// There can be one at a time, an assertion with the text "first" otherwise.
    virtual OPtrRet<MtThread> createMainThread( const LiString& name, MtThreadMgr& mgr ) = 0;

protected:
    MtThreadFactory();
};

} // namespace Qv
