#pragma once

#include <base/init/inContextAliasBase.h>
#include <base/ownership/oPtr.h>

namespace Qv {

class InVariableBase;

/// Makes aliases of one kind for variables that don't name that source.
class QV_BASE_API InContextAliasBuilder {
public:
    InContextAliasBuilder() = default;
    InContextAliasBuilder( const InContextAliasBuilder& ) = delete;
    InContextAliasBuilder& operator=( const InContextAliasBuilder& ) = delete;
    virtual ~InContextAliasBuilder();

    /// A new alias for `variable`; null when it has no use for this source.
    virtual OPtrRet<InContextAliasBase> build( const InVariableBase& variable ) = 0;
};

} // namespace Qv
