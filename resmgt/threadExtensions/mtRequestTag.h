#pragma once

#include <base/ownership/rcShdPtr.h>
#include <resmgt/resmgtApi.h>

#include <atomic>
#include <cstdint>
#include <list>
#include <optional>
#include <utility>

namespace Qv {

class MtRequestZero;

/// A producer's place in an MtRequestMgr; one that is default-made has none.
///
/// Lifetime: until it is released; copies of a released one still seem valid, and are undefined.
class QV_RESMGT_API MtRequestTag {
public:
    MtRequestTag() noexcept = default;

    bool isValid() const noexcept { return _id.has_value(); }
    bool operator==( const MtRequestTag& other ) const noexcept { return _id == other._id; }

private:
    friend class MtRequestMgr;

    /// The count, and the condition of those who wait for its zero, made when first needed.
    using Counters = std::list<std::pair<std::atomic<std::uint32_t>, RCShdPtr<MtRequestZero>>>;

    explicit MtRequestTag( Counters::iterator id ) noexcept
        : _id( id ) {}

    std::optional<Counters::iterator> _id;
};

} // namespace Qv
