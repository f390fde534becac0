#pragma once

#include <base/ownership/rcShdPtr.h>
#include <base/values/dtTime.h>
#include <resmgt/literals/liRateRegistry.h>

#include <cstdint>
#include <string>

namespace Qv {

/// A format of timecodes: turns times into labels such as "01:00:00;02" and back.
///
///     const auto ntsc = LiTimeCodeFactory::getInstance().create(
///         LiRateRegistry::getInstance().get( "F29_97" ), true );
///     ntsc->generate( DtTimeIndex( 1800 ) ); // "00;01;00;02"
///     ntsc->getTime( "00;01;00;02" );        // 1800 at 30000/1001
///
/// Indices:  of frames from midnight. A label is a time of the day: times of other days, before
///           midnight too, show as what they are in their day.
/// Threads:  formats don't change; any thread.
/// Errors:   LiEx::ExBadTimeCode for a text that isn't a label of the format. It quotes the text
///           and names the first character that is wrong. DtTimeEx::ExOutOfRange where a result
///           doesn't fit its type.
class QV_RESMGT_API LiTimeCode : public RCBase<LkCounter<int>> {
public:
    /// The day that a time lies in, 0 for the first; the day before it is -1.
    virtual DtTimeIndex getDay( const DtTime& time ) const = 0;
    /// At DtTime::SPECIAL_RATE an index is one of frames.
    virtual std::string generate( const DtTime& time ) const = 0;
    virtual std::string generate( const DtTimeIndex& frame ) const = 0;
    /// Two fields are a frame. In a format without fields, a field is a frame.
    virtual std::string generateFromField( const DtTimeIndex& field ) const = 0;
    /// Sub-frames are units of the sub-frame rate; without that rate, frames.
    virtual std::string generateFromSubFrame( const DtTimeIndex& subFrame ) const = 0;
    /// In frames a second; 1/1 if the format has no rate.
    virtual Rational getFrameRate() const;
    virtual std::int64_t getFramesPerDay() const = 0;
    /// Without a sub-frame rate, how long a frame lasts, in seconds.
    virtual double getSubFramesPerDay() const = 0;
    /// The time of a label. A negative part makes the whole time negative.
    virtual DtTime getTime( int hours, int minutes, int seconds, int frames ) const = 0;
    /// Blanks may stand around the label.
    virtual DtTime getTime( const std::string& label ) const = 0;
    /// From the index of a frame to its place among the labels, dropped ones counted.
    virtual DtTimeIndex dropToNonDropAdjust( const DtTimeIndex& frame ) const = 0;
    /// The other way round. A dropped label leads to the next frame.
    virtual DtTimeIndex nonDropToDropAdjust( const DtTimeIndex& label ) const = 0;
    /// How many labels are left out between two frames.
    virtual int getNbDroppedFrames( const DtTimeIndex& from, const DtTimeIndex& to ) const = 0;
    virtual char getHourMinuteSeparator() const = 0;
    virtual char getMinuteSecondSeparator() const = 0;
    virtual char getSecondFrameSeparator() const = 0;

    const std::string& getName() const noexcept { return _name; }
    const std::string& getShortName() const noexcept { return _shortName; }
    /// Either may be null.
    const LiRateRegistry::Entry& getFrameRateEntry() const noexcept { return _frameRate; }
    const LiRateRegistry::Entry& getSubFrameRateEntry() const noexcept { return _subFrameRate; }
    bool isDropFrame() const noexcept { return _isDropFrame; }

protected:
    LiTimeCode( const std::string& name, const std::string& shortName );
    LiTimeCode( const std::string& name, const std::string& shortName,
                const LiRateRegistry::Entry& frameRate );
    LiTimeCode( const std::string& name, const std::string& shortName,
                const LiRateRegistry::Entry& frameRate, const LiRateRegistry::Entry& subFrameRate,
                bool isDropFrame );

private:
    std::string _name;
    std::string _shortName;
    LiRateRegistry::Entry _frameRate;
    LiRateRegistry::Entry _subFrameRate;
    bool _isDropFrame;
};

} // namespace Qv
