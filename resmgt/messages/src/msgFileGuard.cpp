#include <resmgt/messages/msgFileGuard.h>

#include <resmgt/initVars/inTextFile.h>
#include <resmgt/messages/src/msgServerImp.h>

namespace Qv {

MsgFileGuard::MsgFileGuard( const char* fileName )
    : _server( MsgServerImp::getImp() )
    , _path( _server.getDirectory() + fileName ) {
    InTextFile::readNameValuePair( _path.getChars(), _texts, true );
    _server.addFileGuard( *this );
}

MsgFileGuard::~MsgFileGuard() {
    _server.removeFileGuard( *this );
}

} // namespace Qv
