#pragma once

#include <base/containers/hashMap.h>
#include <resmgt/osal/osFilePath.h>
#include <resmgt/resmgtApi.h>

#include <string>

namespace Qv {

class MsgServerImp;

/// Makes a message file the server's current one until scope exit. Of several guards, the newest
/// one's file is the current one, in whatever order they end.
///
/// Errors:  a file that is missing or malformed raises what InTextFile raises; nothing changes.
/// Threads: the guards that exist at one time belong to one thread.
/// Cost:    the file is read, once, by the constructor.
class QV_RESMGT_API MsgFileGuard {
public:
    /// `fileName` is relative to the server's directory.
    explicit MsgFileGuard( const char* fileName );
    MsgFileGuard( const MsgFileGuard& ) = delete;
    MsgFileGuard& operator=( const MsgFileGuard& ) = delete;
    ~MsgFileGuard();

private:
    friend class MsgServerImp;

    MsgServerImp& _server;
    const OsFilePath _path;
    HashMap<std::string, std::string> _texts;
    MsgFileGuard* _formerGuard = nullptr;
};

} // namespace Qv
