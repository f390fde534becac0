#pragma once

#include <resmgt/messages/msgManager.h>
#include <resmgt/messages/msgProtocol.h>

#include <base/ownership/oPtr.h>

#include <initializer_list>
#include <ostream>
#include <string>

namespace Qv::Comp {

/// What the command says when something is wrong; resources/messages/qvcomp.msg has the texts and
/// describes their values.
enum class Tag {
    USAGE,
    SETTING,
    WRONG_NUMBER,
    WRONG_SIZE,
    WRONG_WORD,
    WRONG_BYTES,
    WRONG_SECONDS,
    WRONG_RADIUS,
    WRONG_FRAMES,
    WRONG_OFFSET,
    UNKNOWN_OPTION,
    NO_VALUE,
    EMPTY_VALUE,
    NO_SIZE,
    NO_OUTPUT,
    NO_LAYER,
    NO_LAYER_BEHIND,
    NO_FRAMES,
    NO_FRAME_PLACE,
    SAME_OUTPUTS,
    OUTPUT_IS_LAYER,
    WRONG_LEVEL,
    LOG_IS_OTHER,
    LOG_UNOPENED,
    PATH_BACKSLASH,
    PATH_UNREACHED,
    NO_FILE_NAME,
    NO_MEMORY,
    LITTLE_MEMORY,
    NO_ARENA,
    NO_THREADS,
    LAYER_MISSING,
    LAYER_NO_FILE,
    LAYER_FORBIDDEN,
    LAYER_UNREADABLE,
    LAYER_EMPTY,
    LAYER_NO_IMAGE,
    LAYER_DEEP,
    LAYER_HUGE,
    LAYER_MEMORY,
    LAYER_ATTRIBUTE,
    LAYER_SHORT,
    LAYER_DAMAGED,
    LAYER_SUBSAMPLED,
    LAYER_WINDOW,
    LAYER_CHANNELS,
    LAYER_NOT_GREY,
    LAYER_CHANGED,
    OTHER_COLOURS,
    FRAMES_MISSING,
    FRAME_FAILED,
    FRAMES_UNMADE,
    CANT_WRITE,
    CANT_REPLACE,
    SCRATCH,
    SCRATCH_FOREIGN,
    SCRATCH_FULL,
    JOB_NO_FILE,
    JOB_UNREADABLE,
    JOB_WRONG,
    JOB_ELEMENT,
    JOB_ATTRIBUTE,
    JOB_TEXT,
    JOB_FLAG,
    JOB_NO_LAYER_FILE,
    JOB_UNHELD,
    JOB_IS_OUTPUT,
    OUTPUT_IS_JOB,
    OUTPUT_UNWRITTEN,
    LOCKED,
    CANT_LOCK,
    LOCK_LOST,
    INTERRUPTED,
    DIFFERS
};

/// Reads the texts of all tags, before threads use them.
///
/// Errors: those of MsgFileGuard; a tag without a text raises std::runtime_error. Messages say
///         their tags then, or the texts that were read before.
void loadMessages();

/// The message of the tag with `values` for its place holders; from any thread.
MsgError makeMessage( Tag tag, std::initializer_list<std::string> values = {} );
/// The same for what is worth knowing while the work goes on.
MsgWarning makeWarning( Tag tag, std::initializer_list<std::string> values );

/// Until scope exit messages go to the log, and errors and warnings also to `stream`, as lines that
/// begin with the command's name.
class MessageLines {
public:
    explicit MessageLines( std::ostream& stream );
    MessageLines( const MessageLines& ) = delete;
    MessageLines& operator=( const MessageLines& ) = delete;
    ~MessageLines();

private:
    OPtr<MsgManager> _former;
};

} // namespace Qv::Comp
