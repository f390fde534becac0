#pragma once

#include <resmgt/literals/liTimeCode.h>

namespace Qv {

/// The time-code character format of AES31-3: labels to the sample whose separators stand for the
/// rates, such as "01.00.00.12/0480" at 25 frames a second and 48 kHz. Without drop-frame and
/// fields.
///
/// Hours and minutes are followed by the letter for frame count and time base:
///
///     frames   1.000   1.001   unknown
///     30       |       :       ?
///     25       .       /       !
///     24       =       -       #
///
/// The seconds by ".", for first fields without drop-frame. The frames by the letter of the sample
/// rate. The standard has no letters for more than 30 frames a second: the formats at twice a rate
/// take the letter of its unknown time base, all others "?". Sample rates without a letter take
/// "%".
class QV_RESMGT_API LiTimeCodeAes31Tcf {
public:
    LiTimeCodeAes31Tcf() = delete;

    /// A new format for these rates.
    static RCShdPtr<LiTimeCode> create( const LiRateRegistry::Entry& frameRate,
                                        const LiRateRegistry::Entry& sampleRate );
};

} // namespace Qv
