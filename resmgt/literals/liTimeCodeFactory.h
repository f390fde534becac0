#pragma once

#include <base/containers/vector.h>
#include <resmgt/literals/liTimeCode.h>

namespace Qv {

/// The formats of timecodes that the application knows.
///
/// Threads:  reading from any thread. `add` has no lock: it is done before other threads read.
/// Lifetime: the instance lives from the start of the package `literals` to its stop; formats live
///           as long as somebody holds them.
class QV_RESMGT_API LiTimeCodeFactory {
public:
    /// Goes through the formats in the order of their registration.
    using ConstIterator = Vector<RCShdPtr<LiTimeCode>>::const_iterator;

    LiTimeCodeFactory() = default;
    LiTimeCodeFactory( const LiTimeCodeFactory& ) = delete;
    LiTimeCodeFactory& operator=( const LiTimeCodeFactory& ) = delete;
    virtual ~LiTimeCodeFactory() = default;

    /// The format for a rate: that of the registry's rate, or plain numbers if it has none. The
    /// rate is taken as it is: for 2398/100 there are plain numbers.
    virtual RCShdPtr<LiTimeCode> create( const Rational& rate, bool isDropFrame ) const;
    /// The first format of this rate. `isDropFrame` chooses where there are formats with
    /// drop-frame and without. Plain numbers if there is none.
    virtual RCShdPtr<LiTimeCode> create( const LiRateRegistry::Entry& rate,
                                         bool isDropFrame ) const;
    /// The format for what a person calls a rate, such as 23.98, 47.95 or 120: the first with this
    /// rate and with drop-frame as asked, else a new one, which isn't added. 30 frames a second and
    /// its multiples, pulled, can have drop-frame; at other rates `isDropFrame` plays no part. A
    /// new format has ":" between its numbers, with drop-frame ";". Raises LiEx::ExBadRate where
    /// LiRateRegistry::getFrameRate does.
    RCShdPtr<LiTimeCode> create( double framesPerSecond, bool isDropFrame = false ) const;

    /// The one of the process, with the built-in formats. Asserts that the package is started.
    static LiTimeCodeFactory& getInstance();
    /// The package's start and stop.
    static void initialize();
    /// Ends the factory, at the package's stop.
    static void finalize();

    /// Asserts that `format` isn't null.
    void add( const RCShdPtr<LiTimeCode>& format );
    /// In the order in which they were added.
    ConstIterator begin() const { return _formats.begin(); }
    /// Behind the last format.
    ConstIterator end() const { return _formats.end(); }

private:
    Vector<RCShdPtr<LiTimeCode>> _formats;
};

} // namespace Qv
