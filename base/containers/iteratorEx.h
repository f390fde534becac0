#pragma once

#include <base/failure/exBase.h>

namespace Qv {

/// The family of the errors of the containers' iterator handles.
class QV_BASE_API IteratorEx : public ExBase {
public:
    class ExOutOfRange;

    using ExBase::ExBase;
};

/// An iterator at the end was dereferenced or advanced.
class QV_BASE_API IteratorEx::ExOutOfRange
    : public ExCloneable<IteratorEx::ExOutOfRange, IteratorEx> {
public:
    ExOutOfRange( const char* file, int line );
};

} // namespace Qv
