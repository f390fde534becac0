#pragma once

#include <resmgt/threadExtensions/mtRequestTag.h>

namespace Qv {

/// The base of an MtGroup's items, which know the tag that they are counted with.
///
/// An item has an `execute()` beside this, which does nothing in a default-made item: such items
/// are a group's stop signal.
class QV_RESMGT_API MtRequestBase {
public:
    MtRequestBase() noexcept = default;
    explicit MtRequestBase( const MtRequestTag& tag ) noexcept
        : _tag( tag ) {}
    MtRequestBase( const MtRequestBase& ) noexcept = default;
    MtRequestBase& operator=( const MtRequestBase& ) noexcept = default;
    virtual ~MtRequestBase() = default;

    const MtRequestTag& getTag() const noexcept { return _tag; }
    void setTag( MtRequestTag tag ) noexcept { _tag = tag; }

private:
    MtRequestTag _tag;
};

} // namespace Qv
