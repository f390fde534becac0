#pragma once

#include <base/failure/exBase.h>
#include <resmgt/resmgtApi.h>

#include <string>

namespace Qv {

/// The family of the errors of the priority graph.
class QV_RESMGT_API PriorityEx : public ExBase {
public:
    class ExPriorityInUse;
    class ExRelationInvalid;
    class ExError;

    using ExBase::ExBase;
};

/// A priority was to go that a relation uses.
class QV_RESMGT_API PriorityEx::ExPriorityInUse
    : public ExCloneable<PriorityEx::ExPriorityInUse, PriorityEx> {
public:
    ExPriorityInUse( const char* file, int line, const std::string& priority,
                     const std::string& relation, const std::string& otherPriority );
};

/// A relation doesn't hold between the computed values of its two ends.
class QV_RESMGT_API PriorityEx::ExRelationInvalid
    : public ExCloneable<PriorityEx::ExRelationInvalid, PriorityEx> {
public:
    /// `relationText` is that of PriorityRelation::relationToString.
    ExRelationInvalid( const char* file, int line, const std::string& name, const std::string& lhs,
                       int lhsValue, const char* relationText, const std::string& rhs,
                       int rhsValue );
};

/// Another error of a manager, with its text.
class QV_RESMGT_API PriorityEx::ExError : public ExCloneable<PriorityEx::ExError, PriorityEx> {
public:
    ExError( const char* file, int line, const char* errorText );
};

} // namespace Qv
