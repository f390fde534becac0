#pragma once

#include <base/ownership/oPtr.h>
#include <resmgt/osal/osFileFilter.h>
#include <resmgt/osal/osFileInfo.h>

namespace Qv {

/// Goes through the entries of a directory one by one; which entries, and in which order: see
/// OsDirectory.
///
///     OPtr<OsFileFilter> filter( new OsPassThroughFilter );
///     OPtr<OsFileEntryDescriptor> entries( OsFileEntryDescriptor::create( path, filter ) );
///     for( OPtr<OsFileInfo> info( entries->getNextEntry() ); !info.isNull();
///          info = entries->getNextEntry() ) { ... }
///
/// Threads: one at a time.
/// Errors:  ExSysErrorWindows for a failed system call. The next entry can be asked for then.
/// Cost:    memory doesn't grow with the directory; it is held open until the end is reached.
class QV_RESMGT_API OsFileEntryDescriptor {
public:
    /// Takes `filter` over, which isn't null. Nothing is opened before the first entry is asked
    /// for.
    static OPtrRet<OsFileEntryDescriptor> create( const OsFilePath& directory,
                                                  OPtr<OsFileFilter>& filter );

    OsFileEntryDescriptor( const OsFileEntryDescriptor& ) = delete;
    OsFileEntryDescriptor& operator=( const OsFileEntryDescriptor& ) = delete;
    virtual ~OsFileEntryDescriptor();

    /// The next entry starts over at the first one.
    virtual void reset() = 0;
    /// Null at the end, and from then on until `reset`. A link that can't be followed is reported
    /// itself; an entry that vanishes meanwhile is passed over.
    virtual OPtrRet<OsFileInfo> getNextEntry() = 0;

protected:
    OsFileEntryDescriptor();
};

} // namespace Qv
