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

    MsgServerImp();
    ~MsgServerImp() override;

    void subscribe( MsgSubscription& subscription ) override;
    OPtrRet<MsgManager> setManager( OPtr<MsgManager> manager ) override;
    MsgManager* getManager() override;
    void setDirectory( const OsFilePath& directory ) override;
    void enablePopups( bool isEnabled ) override;

    OsFilePath getDirectory() const;
    /// Returns the former guard; both may be null.
    const MsgFileGuard* setCurrentFileGuard( const MsgFileGuard* guard );

private:
    const MsgFileGuard* _currentFileGuard = nullptr;
    OsFilePath _directory;
    const LkLock _managerLock;
    OPtr<MsgManager> _manager QV_GUARDED_BY( _managerLock );
};

} // namespace Qv
