#pragma once

#include <base/ownership/oPtr.h>
#include <resmgt/resmgtApi.h>

namespace Qv {

class MsgManager;
class MsgSubscription;
class OsFilePath;

/// The channel of messages to the user: finds the texts of tags in message files, and knows the
/// manager that messages go to. docs/messages.md shows the files.
///
///     MsgSubscription notSaved( "notSaved" );
///     {
///         const MsgFileGuard file( "editor.msg" );
///         MsgServer::getInstance().subscribe( notSaved );
///     }
///     MsgError( notSaved ).substitute( path.toString() ).display();
///
/// Lifetime: from the first `getInstance`, or from the start of the package messages, to that
///           package's stop, with which the managers go. A later `getInstance` builds a new one.
/// Threads:  `getInstance`, `getManager`, `setManager` and `enablePopups` are for any. Files and
///           subscriptions belong to one thread at a time.
class QV_RESMGT_API MsgServer {
public:
    MsgServer( const MsgServer& ) = delete;
    MsgServer& operator=( const MsgServer& ) = delete;
    virtual ~MsgServer();

    /// Copies the text that the current file, that of the innermost MsgFileGuard, has for the
    /// subscription's tag, and decodes its escapes. A tag that isn't there is logged as
    /// "Could not find message with tag <tag> in <file>", at the level Warning for an application
    /// that isn't registered or is a development build, else at Support; the subscription has no
    /// text then. Asserts "_currentFileGuard != 0".
    virtual void subscribe( MsgSubscription& subscription ) = 0;
    /// From now on messages go to `manager`, or nowhere when it is null. Returns the former one:
    /// keep it until no thread can be within its `display`.
    virtual OPtrRet<MsgManager> setManager( OPtr<MsgManager> manager ) = 0;
    /// A MsgManager unless the application has set its own; may be null.
    virtual MsgManager* getManager() = 0;
    /// Sets the directory of message files. Empty, as at the start, means "messages" in
    /// InPaths::getResourcesDir().
    virtual void setDirectory( const OsFilePath& directory ) = 0;
    /// Passes `isEnabled` to the manager, if there is one.
    virtual void enablePopups( bool isEnabled ) = 0;

    /// Builds the instance if there is none.
    static void initialize();
    static MsgServer& getInstance();
    /// No other thread may use the instance, and no MsgFileGuard may exist.
    static void finalize();

protected:
    MsgServer();
};

} // namespace Qv
