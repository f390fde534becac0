#pragma once

#include <base/ownership/oPtr.h>
#include <resmgt/literals/liString.h>
#include <resmgt/resmgtApi.h>

namespace Qv {

class CtServer;

/// Makes servers of one kind. A kind registers itself by a static object, in the program or in a
/// plug-in that is loaded before the server is asked for:
///
///     const class Factory : public CtServerFactory {
///         bool canHandle( const LiString& configuration ) override;
///         CtServer* create( const LiString& configuration ) override;
///     } factory;
///
/// Choice:   the factories are asked in the order of their registration, those of this library
///           first; the first that answers true makes the server.
/// Threads:  factories may come and go on any thread, also before `main`; not while a server is
///           being made, since they stand in the list before they are complete.
/// Lifetime: a plug-in stays loaded as long as a server of its kind lives.
class QV_RESMGT_API CtServerFactory {
public:
    CtServerFactory( const CtServerFactory& ) = delete;
    CtServerFactory& operator=( const CtServerFactory& ) = delete;
    virtual ~CtServerFactory();

    /// Whether this factory makes servers of this configuration.
    virtual bool canHandle( const LiString& configuration ) = 0;
    /// The server is the caller's.
    virtual CtServer* create( const LiString& configuration ) = 0;

    /// A server of its own, beside the process's; it ends before the packages stop. Raises
    /// CtEx::ExUnknownServerType where no factory takes the configuration. No lock is held while
    /// factories are called.
    static OPtrRet<CtServer> createServer( const LiString& configuration );

protected:
    CtServerFactory();
};

} // namespace Qv
