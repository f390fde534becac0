#pragma once

#include <base/locks/lkAnnotations.h>
#include <base/locks/lkLock.h>
#include <resmgt/messages/msgServer.h>
#include <resmgt/osal/osFilePath.h>

namespace Qv {

class MsgFileGuard;

/// The one server there is.
class MsgServerImp final : public MsgServer {
public:
    /// The instance; built if there is none.
    static MsgServerImp& getImp();
    /// The level of the report of a missing tag: a warning for who develops the application.
    static void chooseMissingLevel();

    MsgServerImp();
    ~MsgServerImp() override;

    void subscribe( MsgSubscription& subscription ) override;
    OPtrRet<MsgManager> setManager( OPtr<MsgManager> manager ) override;
    MsgManager* getManager() override;
    void setDirectory( const OsFilePath& directory ) override;
    void enablePopups( bool isEnabled ) override;

    OsFilePath getDirectory() const;
    /// It is the current one from now on.
    void addFileGuard( MsgFileGuard& guard ) noexcept;
    void removeFileGuard( const MsgFileGuard& guard ) noexcept;

private:
    /// The newest of those that stand; each knows the one before.
    MsgFileGuard* _currentFileGuard = nullptr;
    OsFilePath _directory;
    const LkLock _managerLock;
    OPtr<MsgManager> _manager QV_GUARDED_BY( _managerLock );
};

} // namespace Qv
