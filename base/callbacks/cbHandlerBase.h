#pragma once

#include <base/callbacks/cbEmptyType.h>
#include <base/locks/lkCounter.h>
#include <base/ownership/rcBase.h>

#include <vector>

namespace Qv {

class CbDispatcherBase;

/// A handler without its argument type: it knows the dispatchers that know it.
class QV_BASE_API CbHandlerBase : public RCBase<LkCounter<int>>, public CbEmptyType::NoArgCallBase {
public:
    /// A copy would have to be known to no dispatcher.
    CbHandlerBase( const CbHandlerBase& ) = delete;
    CbHandlerBase& operator=( const CbHandlerBase& ) = delete;
    /// Leaves all dispatchers.
    ~CbHandlerBase() noexcept override;

protected:
    CbHandlerBase() noexcept = default;

private:
    friend class CbDispatcherBase;

    std::vector<CbDispatcherBase*> _dispatchers;
};

} // namespace Qv
