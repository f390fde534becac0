#pragma once

#include <base/callbacks/cbHandlerBase.h>

namespace Qv {

/// A call-back object that receives a `T&`, and may fill it when `T` isn't const.
///
/// Lifetime: its destruction takes it out of every dispatcher. It may be shared through RCShdPtr;
///           dispatchers hold no reference.
/// Threads:  see CbDispatcher.
template <class T>
class CbHandler : public CbHandlerBase {
public:
    /// Called with each event.
    virtual void call( T& argument ) = 0;

protected:
    CbHandler() noexcept = default;
};

/// The base for call-backs without an argument.
template <>
class QV_BASE_API CbHandler<CbEmptyType> : public CbHandlerBase {
public:
    ~CbHandler() noexcept override;

    virtual void call() = 0;
    void callNoArg() final { call(); }

protected:
    CbHandler() noexcept;
};

} // namespace Qv
