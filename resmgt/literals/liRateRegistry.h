#pragma once

#include <base/callbacks/unaryFunctor.h>
#include <base/ownership/rcShdPtr.h>
#include <base/values/rational.h>
#include <resmgt/resmgtApi.h>

#include <concepts>
#include <string>
#include <vector>

namespace Qv {

/// The frame rates and audio sample rates that the application knows, in exact arithmetic: the rate
/// of NTSC is 30 x 1000/1001.
///
///     const LiRateRegistry::Entry ntsc = LiRateRegistry::getInstance().get( "F29_97" );
///     ntsc.getComputedRate(); // 30000/1001
///
/// Threads:  reading from any thread. Registration has no lock: it is done before other threads
///           read.
/// Lifetime: the instance lives from the start of the package `literals` to its stop; entries live
///           as long as somebody holds them.
class QV_RESMGT_API LiRateRegistry {
public:
    class Entry;
    /// Makes a rate's name.
    using NameFunctor = UnaryFunctor<Rational, std::string>;
    /// Goes through the entries in the order of their registration.
    using ConstIterator = std::vector<Entry>::const_iterator;

    LiRateRegistry() = default;
    LiRateRegistry( const LiRateRegistry& ) = delete;
    LiRateRegistry& operator=( const LiRateRegistry& ) = delete;

    /// The one of the process, with the table of known rates. Asserts that the package is started.
    static LiRateRegistry& getInstance();
    /// The package's start and stop.
    static void initialize();
    /// Ends the registry, at the package's stop.
    static void finalize();

    /// Adds a rate at the end. The rate is `baseRate` x `factor` x `timePullRate`; `nameFunctor`
    /// makes its numeric name and isn't kept. Null, and nothing is added, if there is a rate with
    /// this `enumName`, whatever the other arguments are. Raises LiEx::ExBadRate if a numerator or
    /// a denominator isn't positive or a product of them doesn't fit an int. Asserts that no name
    /// is null.
    Entry registerRate( const char* enumName, const char* shortName, const char* description,
                        const Rational& baseRate, const Rational& timePullRate,
                        const Rational& factor, const NameFunctor& nameFunctor );
    /// The same for a rate that the published standards write as `standardRate`. A rate that is
    /// pulled needs it for drop-frame labels: 2997/100 for 30000/1001.
    Entry registerRate( const char* enumName, const char* shortName, const char* description,
                        const Rational& baseRate, const Rational& timePullRate,
                        const Rational& factor, const NameFunctor& nameFunctor,
                        const Rational& standardRate );

    /// In the order of registration. What isn't found is at `end()`. A null name is an assertion.
    ConstIterator find( const char* enumName ) const;
    ConstIterator find( int enumVal ) const;
    /// A number with a fraction is no place: see getFrameRate and getNearest.
    template <std::floating_point Number>
    ConstIterator find( Number ) const = delete;
    /// The first entry.
    ConstIterator begin() const;
    /// Behind the last entry.
    ConstIterator end() const;

    /// Null if there is none. Of the names only the enum name counts.
    Entry get( const char* enumName ) const;
    Entry get( int enumVal ) const;
    /// The first whose computed rate is `rate`; without one, the first whose standard rate is; else
    /// the first whose rate without the pull is.
    Entry get( const Rational& rate ) const;
    template <std::floating_point Number>
    Entry get( Number ) const = delete;
    /// The frame rate that a person means by `framesPerSecond`: a whole number, or 1000/1001 of one
    /// as the nearest of 2 to 5 decimals write it, such as 23.98, 23.976, 47.95 and 119.88. If the
    /// registry has no such rate, a new entry that isn't added to it, with the place -1 and named
    /// "F119_88". Raises LiEx::ExBadRate for every other number.
    Entry getFrameRate( double framesPerSecond ) const;
    /// The entry with the computed rate nearest to `rate`, the first of several; null if none is
    /// nearer than `maxDistance`. Both are in units a second.
    Entry getNearest( double rate, double maxDistance ) const;

private:
    std::vector<Entry> _entries;
};

/// A rate of the registry; a shared handle, null where no rate was found.
///
/// Errors: an accessor of a null entry raises the exception of a null pointer.
class QV_RESMGT_API LiRateRegistry::Entry {
public:
    struct QV_RESMGT_API Imp;

    Entry() noexcept = default;
    explicit Entry( const Imp* imp ) noexcept
        : _imp( imp ) {}

    bool isNull() const noexcept { return _imp.isNull(); }
    /// "F29_97": unique in the registry.
    const std::string& getEnumName() const;
    /// The place in the registry, from 0; -1 for what getFrameRate made.
    int getEnumVal() const;
    const std::string& getShortName() const;
    const std::string& getDescription() const;
    /// "29.97 fps", "48000 Hz".
    const std::string& getNumericName() const;

    /// In units a second; products aren't reduced.
    const Rational& getBaseRate() const;
    /// The base rate times the factor.
    const Rational& getBaseFactorRate() const;
    const Rational& getTimePullRate() const;
    const Rational& getFactor() const;
    /// The exact rate: 24000/1001.
    const Rational& getComputedRate() const;
    /// As the published standards write it: 23976/1000.
    const Rational& getStandardRate() const;

    bool hasTimePullRate() const { return getTimePullRate() != Rational( 1, 1 ); }
    bool hasFactor() const { return getFactor() != Rational( 1, 1 ); }
    /// Whether the standard rate differs from the computed one.
    bool overridesComputedRate() const { return getStandardRate() != getComputedRate(); }

    /// Whether both are the same registration.
    bool operator==( const Entry& other ) const noexcept { return _imp == other._imp; }
    bool operator<( const Entry& other ) const {
        return getComputedRate() < other.getComputedRate();
    }

private:
    RCShdPtr<const Imp> _imp;
};

/// What the handles of one entry share.
struct QV_RESMGT_API LiRateRegistry::Entry::Imp : public RCBase<LkCounter<int>> {
    /// See Entry, as for all that follow.
    std::string enumName;
    /// See Entry.
    int enumVal = 0;
    /// See Entry.
    std::string shortName;
    /// See Entry.
    std::string description;
    /// See Entry.
    std::string numericName;
    /// See Entry.
    Rational baseRate;
    /// See Entry.
    Rational baseFactorRate;
    /// See Entry.
    Rational timePullRate;
    /// See Entry.
    Rational factor;
    /// See Entry.
    Rational computedRate;
    /// See Entry.
    Rational standardRate;
};

/// "24 fps", "29.97 fps": with two decimals unless the denominator is 1.
class QV_RESMGT_API FpsNameFunctor : public LiRateRegistry::NameFunctor {
public:
    std::string operator()( const Rational& rate ) const override;
};

/// "45937 Hz": the whole part.
class QV_RESMGT_API HzNameFunctor : public LiRateRegistry::NameFunctor {
public:
    std::string operator()( const Rational& rate ) const override;
};

} // namespace Qv
