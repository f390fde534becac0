#include <resmgt/messages/msgFileGuard.h>

#include <resmgt/initVars/inTextFile.h>
#include <resmgt/messages/src/msgServerImp.h>

namespace Qv {

MsgFileGuard::MsgFileGuard( const char* fileName )
    : _server( MsgServerImp::getImp() )
    , _path( _server.getDirectory() + fileName ) {
    InTextFile::readNameValuePair( _path.getChars(), _texts, true );
    _formerGuard = _server.setCurrentFileGuard( this );
}

MsgFileGuard::~MsgFileGuard() {
    _server.setCurrentFileGuard( _formerGuard );
}

} // namespace Qv
