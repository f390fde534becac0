#pragma once

#include <resmgt/literals/liTimeCode.h>

namespace Qv {

/// A plain number in place of a label: frames counted from 1. Frame -1 is the number 0.
///
/// Without a rate, times keep their index, and a day has 86400 frames.
class QV_RESMGT_API LiTimeCodePositiveNb : public LiTimeCode {
public:
    LiTimeCodePositiveNb();
    explicit LiTimeCodePositiveNb( const LiRateRegistry::Entry& rate );
    /// Raises LiEx::ExBadRate if a part isn't positive.
    explicit LiTimeCodePositiveNb( const Rational& rate );

    DtTimeIndex getDay( const DtTime& time ) const override;
    std::string generate( const DtTime& time ) const override;
    std::string generate( const DtTimeIndex& frame ) const override;
    std::string generateFromField( const DtTimeIndex& field ) const override;
    std::string generateFromSubFrame( const DtTimeIndex& subFrame ) const override;
    Rational getFrameRate() const override;
    std::int64_t getFramesPerDay() const override;
    double getSubFramesPerDay() const override;
    DtTime getTime( int hours, int minutes, int seconds, int frames ) const override;
    DtTime getTime( const std::string& label ) const override;
    DtTimeIndex dropToNonDropAdjust( const DtTimeIndex& frame ) const override { return frame; }
    DtTimeIndex nonDropToDropAdjust( const DtTimeIndex& label ) const override { return label; }
    int getNbDroppedFrames( const DtTimeIndex&, const DtTimeIndex& ) const override { return 0; }
    char getHourMinuteSeparator() const override { return ' '; }
    char getMinuteSecondSeparator() const override { return ' '; }
    char getSecondFrameSeparator() const override { return ' '; }

private:
    /// DtTime::SPECIAL_RATE if it isn't known.
    Rational _rate;
};

} // namespace Qv
