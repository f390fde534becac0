#pragma once

#include <resmgt/threadExtensions/src/mtAlarm.h>

#include <cstdint>
#include <vector>

namespace Qv {

/// Armed alarms, the next one first: a binary heap whose alarms know their places.
class MtAlarmQueue {
public:
    /// `due` in nanoseconds of the steady clock. Of equal times the one that was pushed first
    /// comes first. REQUIRES: the alarm isn't queued.
    void push( const RCShdPtr<MtAlarm>& alarm, std::int64_t due );
    /// Takes the alarm out. REQUIRES: it is queued.
    void remove( MtAlarm& alarm ) noexcept;
    void clear() noexcept;

    bool isEmpty() const noexcept { return _slots.empty(); }
    std::int64_t getFirstTime() const noexcept { return _slots.front().due; }
    const RCShdPtr<MtAlarm>& getFirst() const noexcept { return _slots.front().alarm; }

private:
    struct Slot {
        std::int64_t due;
        std::uint64_t number;
        RCShdPtr<MtAlarm> alarm;

        bool isBefore( const Slot& other ) const noexcept {
            return due != other.due ? due < other.due : number < other.number;
        }
    };

    /// Puts `slot` where the place `index` is free, or above or below it.
    void settle( std::size_t index, Slot slot ) noexcept;
    void put( std::size_t index, Slot slot ) noexcept;

    std::vector<Slot> _slots;
    std::uint64_t _nbPushed = 0;
};

} // namespace Qv
