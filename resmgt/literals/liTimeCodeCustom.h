#pragma once

#include <resmgt/literals/liTimeCode.h>

namespace Qv {

class LiTimeCodeLabelReader;

/// A format of labels "hours:minutes:seconds:frames", for any rate of the registry that counts
/// whole frames a second before its pull.
///
/// Drop-frame: labels of the first frames of a minute are left out, so that they keep pace with
///             time at a pulled rate: at 29.97, two in every minute but each tenth (SMPTE ST 12-1).
/// Day:        as many frames as the standard rate has in 24 hours: 2589408 at 29.97, in drop-frame
///             or not. Without drop-frame that day's labels end at 23:58:33:17; the labels after it
///             are read, as times of the next day. With `wholeDay` they are times of the same day.
/// Reading:    fields may have fewer digits than are written. Separators must be the format's own;
///             with drop-frame, those of "00:01:00;02" are read, too.
/// Fields:     where `fieldSeparator` differs from `secondFrameSeparator`, it stands in its place
///             in labels of second fields, and a label that has it is read as a time in fields.
/// Sub-frames: follow the frames if the format has them; a label without them is read, too. With a
///             sub-frame rate they are its units since the one that the frame begins in: how many a
///             frame has differs where rates aren't multiples, and reading allows the most. A label
///             whose sub-frames aren't 0 is read as a time at that rate. Without, they are the
///             fraction of a frame: 25.500000 is 0.255 frames at 2 integer digits, hundredths, and
///             6 decimals. Rounded, but never to the next frame. The time read has the frame rate
///             times the denominator of that fraction in lowest terms; digits are cut off where
///             that doesn't fit two ints.
class QV_RESMGT_API LiTimeCodeCustom : public LiTimeCode {
public:
    /// What makes a format of timecodes.
    struct QV_RESMGT_API Args {
        /// Named as the rate is.
        explicit Args( const LiRateRegistry::Entry& frameRate );

        /// The frame rate.
        LiRateRegistry::Entry rate;
        /// The name of the format.
        std::string name;
        /// The name for places with little room.
        std::string shortName;
        /// Labels that are left out at once; 0 for none.
        int dropFrames = 0;
        /// In minutes.
        int dropPeriod = 0;
        /// In tens of minutes: no labels are left out where such a period begins.
        int dropExceptPeriod = 0;
        /// Without drop-frame: a day has the frames of 24 hours of labels, 2592000 at 29.97.
        bool wholeDay = false;
        /// Set at a rate with a time pull.
        int nonIntegerRate = 0;
        /// Between hours and minutes.
        char hourMinuteSeparator = ':';
        /// Between minutes and seconds.
        char minuteSecondSeparator = ':';
        /// Between seconds and frames.
        char secondFrameSeparator = ':';
        /// Whether labels name the field of a frame.
        bool fieldBased = false;
        /// Before the field.
        char fieldSeparator = ':';
        /// Whether labels have parts of a frame.
        bool hasSubFrames = false;
        /// The rate that parts of a frame are counted in.
        LiRateRegistry::Entry subFrameRate;
        /// Digits of the part before the point.
        int subFrameIntegerDigits = 2;
        /// Digits of the part behind the point.
        int subFrameDecimals = 6;
        /// Before the part of a frame.
        char subFrameSeparator = ':';
        /// The point of that part.
        char subFrameDecimalPoint = '.';
    };

    /// Raises LiEx::ExBadRate if the rate before its pull isn't a whole number of frames a second,
    /// or the drop-frame counts don't belong together: the drop period must divide the exception's
    /// period and that a day, fewer labels be left out than a second has, and the labels that are
    /// left be as many as the frames of the standard rate, from one exception to the next and in a
    /// day. A pulled rate without a standard rate of its own has too many frames a day. Asserts
    /// that the sub-frames have 1 to 15 digits.
    explicit LiTimeCodeCustom( const Args& args );

    DtTimeIndex getDay( const DtTime& time ) const override;
    std::string generate( const DtTime& time ) const override;
    std::string generate( const DtTimeIndex& frame ) const override;
    std::string generateFromField( const DtTimeIndex& field ) const override;
    std::string generateFromSubFrame( const DtTimeIndex& subFrame ) const override;
    std::int64_t getFramesPerDay() const override { return _framesPerDay.getValue(); }
    double getSubFramesPerDay() const override { return _subFramesPerDay; }
    DtTime getTime( int hours, int minutes, int seconds, int frames ) const override;
    DtTime getTime( const std::string& label ) const override;
    DtTimeIndex dropToNonDropAdjust( const DtTimeIndex& frame ) const override;
    DtTimeIndex nonDropToDropAdjust( const DtTimeIndex& label ) const override;
    /// Raises DtTimeEx::ExOutOfRange if the count doesn't fit an int: at 29.97 after about 2,000
    /// years.
    int getNbDroppedFrames( const DtTimeIndex& from, const DtTimeIndex& to ) const override;
    char getHourMinuteSeparator() const override { return _args.hourMinuteSeparator; }
    char getMinuteSecondSeparator() const override { return _args.minuteSecondSeparator; }
    char getSecondFrameSeparator() const override { return _args.secondFrameSeparator; }

    /// For formats that differ in little: change a copy.
    const Args& getArgs() const noexcept { return _args; }

private:
    /// What the constructor finds out that is divided by. See the source.
    class Divisor {
    public:
        explicit Divisor( std::int64_t value = 1 );

        std::int64_t getValue() const { return _value; }
        template <class Int>
        Int divide( Int dividend ) const;

    private:
        std::int64_t _value;
        std::uint64_t _inverse = 0;
        std::uint64_t _limit = 0;
    };

    template <class Int>
    Int toLabel( Int frame ) const;
    template <class Int>
    Int toFrame( Int label ) const;
    /// The frame of the label of `rest` frames in `minute`, or of the next that isn't left out.
    template <class Int>
    Int frameAt( Int minute, Int rest ) const;
    void initializeDrop();
    void initializeSubFrames();
    void checkDropped( std::int64_t minutes, std::int64_t frames, std::int64_t labels ) const;
    void applyFieldFormat( std::string& label, std::int64_t field ) const;
    std::string generateSubFramePctStr( double fraction ) const;
    void appendSubFrames( std::string& label, const DtTime& time, std::int64_t frame ) const;
    /// Of a label in any form.
    DtTime readTime( const std::string& label ) const;
    DtTime readSubFrames( LiTimeCodeLabelReader& reader, const DtTime& frameTime ) const;
    DtTime readSubFrameCount( LiTimeCodeLabelReader& reader, const DtTime& frameTime ) const;
    DtTime readSubFrameFraction( LiTimeCodeLabelReader& reader, const DtTime& frameTime ) const;

    Args _args;
    Rational _rate;
    Rational _fieldRate;
    std::int64_t _framesPerHour;
    Divisor _framesPerDay;
    Divisor _framesPerMinute;
    Divisor _framesPerSecond;
    // Frames from one exception to the next, and from one drop to the next; their minutes.
    Divisor _dropBlockFrames;
    Divisor _dropMinuteFrames;
    Divisor _exceptMinutes;
    Divisor _dropMinutes;
    std::int64_t _droppedPerBlock = 0;
    /// That of frame 0.
    std::string _firstLabel;
    std::int64_t _lastHour;
    /// The largest count that a label can have.
    std::int64_t _lastSubFrame = 0;
    double _subFramesPerDay = 0;
    /// All numbers have two digits.
    bool _hasUsualForm;
    // What is read.
    int _hourDigits;
    int _frameDigits;
    int _subFrameWidth = 0;
    int _subFrameDecimals = 0;
};

} // namespace Qv
