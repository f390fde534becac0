#include <resmgt/fileMonitoring/src/monitoredFile.h>

#include <resmgt/fileMonitoring/src/loggedText.h>
#include <resmgt/logger/qvLog.h>

namespace Qv {

namespace {

OPtrRet<OsFileInfo> copyOf( const OsFileInfo* info ) {
    return OPtr<OsFileInfo>( info != nullptr ? new OsFileInfo( *info ) : nullptr );
}

MonitoredFile::Finding makeFinding( const OsFileInfo* before, const OsFileInfo* after ) {
    MonitoredFile::Finding finding;
    finding.change = compareInfos( before, after );
    if( finding.change != FileChange::NONE ) {
        finding.time = ( after != nullptr ? after : before )->getLastModificationTime();
    }
    return finding;
}

} // namespace

MonitoredFile::MonitoredFile( const OsFilePath& path, std::uint64_t watch )
    : _path( path )
    , _watch( watch ) {}

void MonitoredFile::setBaseline( const std::optional<OsFileInfo>& seen ) {
    _info = copyOf( seen ? &*seen : nullptr );
    _isKnown = true;
}

void MonitoredFile::beginSettling() {
    if( !_isSettling ) {
        _settledInfo = copyOf( _info.get() );
        _isSettling = true;
        _isSettled = true;
    }
}

MonitoredFile::Finding MonitoredFile::look() {
    const std::optional<OsFileStatus> status = OsFileProbe::find( _path );
    OPtr<OsFileInfo> info( status ? new OsFileInfo( OsFileProbe::makeInfo( _path, *status ) )
                                  : nullptr );
    Finding finding = makeFinding( _info.get(), info.get() );
    if( _isKnown && finding.change != FileChange::NONE ) {
        finding.info = info;
        finding.status = status;
        return finding;
    }
    if( !_isKnown ) {
        if( _isSettling ) {
            _settledInfo = copyOf( info.get() );
        }
        _info = info;
        _isKnown = true;
    }
    _status = status;
    _isQueried = true;
    return findSettledState();
}

MonitoredFile::Finding MonitoredFile::findSettledState() {
    if( _isSettled ) {
        return {};
    }
    Finding finding = makeFinding( _settledInfo.get(), _info.get() );
    finding.form = OsFileMonitor::SETTLED_STATES;
    finding.info = copyOf( _info.get() );
    _isSettled = finding.change == FileChange::NONE;
    return finding;
}

void MonitoredFile::keep( Finding& finding ) noexcept {
    if( finding.form == OsFileMonitor::SETTLED_STATES ) {
        _settledInfo = finding.info;
        _isSettled = true;
        return;
    }
    actualize( finding.info, getText( finding.change ) );
    _status = finding.status;
    _isQueried = true;
    _isSettled = !_isSettling;
}

MonitoredFile::Finding MonitoredFile::compareWith( const std::optional<OsFileInfo>& seen,
                                                   OsFileMonitor::Form form ) const {
    const OPtr<OsFileInfo>& last = form == OsFileMonitor::SETTLED_STATES ? _settledInfo : _info;
    Finding finding = makeFinding( seen ? &*seen : nullptr, last.get() );
    finding.form = form;
    return finding;
}

void MonitoredFile::actualize( OPtr<OsFileInfo>& info, const char* text ) {
    if( !info.isNull() && info->getPath() != _path ) {
        QV_LOG( FileMonitoring, Warning, "Path differ in actualize (", text, ") ",
                LoggedPath{ _path }, ", ", LoggedPath{ info->getPath() } );
    }
    _info = info;
    QV_LOG( FileMonitoring, Tracing, text, ": ", LoggedPath{ _path }, ", ",
            _info.isNull() ? 0 : getInfo().getSize(), " bytes" );
}

} // namespace Qv
