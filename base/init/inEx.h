#pragma once

#include <base/failure/exBase.h>

namespace Qv {

/// The family of the errors of configuration.
class QV_BASE_API InEx : public ExBase {
public:
    class ExContextAliasAlreadyDefined;

    using ExBase::ExBase;
};

/// Two aliases of one source bear the same key.
class QV_BASE_API InEx::ExContextAliasAlreadyDefined
    : public ExCloneable<InEx::ExContextAliasAlreadyDefined, InEx> {
public:
    ExContextAliasAlreadyDefined( const char* file, int line, const char* key );
};

} // namespace Qv
