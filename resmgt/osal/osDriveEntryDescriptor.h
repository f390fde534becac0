#pragma once

#include <base/ownership/oPtr.h>
#include <resmgt/osal/osDriveInfo.h>

namespace Qv {

/// Goes through the machine's drives or, where there are none, through the mounted volumes that a
/// person would look for: disks, media, network shares and memory disks, each at the one place
/// where it was mounted first, but nothing that the kernel or the start of the machine keeps for
/// itself.
///
/// Threads: one at a time.
/// Errors:  ExSysErrorWindows if there is no list of drives. A drive that can't be asked is
///          reported with no space, no owner and the present time.
class QV_RESMGT_API OsDriveEntryDescriptor {
public:
    /// A new one.
    static OPtrRet<OsDriveEntryDescriptor> create();

    OsDriveEntryDescriptor& operator=( const OsDriveEntryDescriptor& ) = delete;
    virtual ~OsDriveEntryDescriptor();

    /// A descriptor that stands at the same drive of the same list.
    virtual OPtrRet<OsDriveEntryDescriptor> clone() const = 0;
    /// The next entry is the first one of a list that is made anew.
    virtual void reset() = 0;
    /// Null at the end.
    virtual OPtrRet<OsDriveInfo> getNextEntry() = 0;

protected:
    OsDriveEntryDescriptor();
    OsDriveEntryDescriptor( const OsDriveEntryDescriptor& );
};

} // namespace Qv
