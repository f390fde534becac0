#pragma once

#include <base/locks/lkCounter.h>
#include <base/ownership/rcBase.h>
#include <base/qvBaseApi.h>

namespace Qv {

template <class Container, class Adapter>
class MtContainer;

/// Learns of the items that go into a container and out of it.
///
/// Threads:  the calls run on the threads that push and pop, at the same time, with no lock held.
///           So an item's pop may be reported before its push. An observer that has been replaced
///           may still be called by those who had found it.
/// Errors:   exceptions of a call are reported through Trace and go no further.
/// Lifetime: the container shares it, and so does each call.
template <class Container, class Adapter>
class QV_TEMPLATE_API MtContainerObserver : public RCBase<LkCounter<int>> {
public:
    /// The queue that is observed.
    using Observed = MtContainer<Container, Adapter>;
    /// A request.
    using Item = typename Adapter::Item;

    ~MtContainerObserver() override = default;
    /// The container is about to go.
    virtual void containerDestroyed( Observed& container ) = 0;
    /// `item` is a copy of what was pushed.
    virtual void itemPushed( Observed& container, const Item& item ) = 0;
    /// The item was taken out, to be executed or to be dropped.
    virtual void itemPopped( Observed& container, const Item& item ) = 0;
};

} // namespace Qv
