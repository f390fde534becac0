#pragma once

#include <base/ownership/aPtr.h>
#include <resmgt/resmgtApi.h>

namespace Qv {

/// A message's tag in the source, and the text that the message file has for it; see MsgServer.
///
/// Copying: a copy has texts of its own.
/// Threads: any may read one that isn't being subscribed.
class QV_RESMGT_API MsgSubscription {
public:
    /// `tag` is copied.
    explicit MsgSubscription( const char* tag );
    MsgSubscription( const MsgSubscription& other );
    MsgSubscription& operator=( const MsgSubscription& ) = delete;
    ~MsgSubscription();

    const char* getTag() const noexcept { return _tag.get(); }
    /// Null unless the tag was found; valid until it is subscribed again.
    const char* getText() const noexcept { return _text.get(); }
    bool hasText() const noexcept { return !_text.isNull(); }

private:
    friend class MsgServerImp;

    /// Copies `text`, in place of an earlier one; null takes that away.
    void setText( const char* text );

    APtr<char> _tag;
    APtr<char> _text;
};

} // namespace Qv
