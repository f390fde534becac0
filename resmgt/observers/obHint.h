#pragma once

#include <base/locks/lkCounter.h>
#include <base/ownership/rcBase.h>
#include <resmgt/resmgtApi.h>

namespace Qv {

/// A kind of change of a subject: the type is the meaning. An application derives its own, which
/// may carry data; they are shared, and read on several threads at once.
class QV_RESMGT_API ObHint : public RCBase<LkCounter<int>> {
public:
    ~ObHint() override;
};

/// Something about a subject.
class QV_RESMGT_API ObSubjectHint : public ObHint {
public:
    ~ObSubjectHint() override;
};

/// The subject ends.
class QV_RESMGT_API ObDestroyHint : public ObSubjectHint {
public:
    ~ObDestroyHint() override;
};

/// The subject has changed.
class QV_RESMGT_API ObUpdateHint : public ObSubjectHint {
public:
    ~ObUpdateHint() override;
};

/// What the subject is made of has changed.
class QV_RESMGT_API ObStructureHint : public ObUpdateHint {
public:
    ~ObStructureHint() override;
};

/// A value of the subject has changed.
class QV_RESMGT_API ObValueHint : public ObUpdateHint {
public:
    ~ObValueHint() override;
};

/// What is selected has changed.
class QV_RESMGT_API ObSelectionHint : public ObValueHint {
public:
    ~ObSelectionHint() override;
};

/// A position has changed.
class QV_RESMGT_API ObPositionHint : public ObValueHint {
public:
    ~ObPositionHint() override;
};

} // namespace Qv
