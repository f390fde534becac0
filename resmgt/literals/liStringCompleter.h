#pragma once

#include <base/containers/vector.h>
#include <resmgt/resmgtApi.h>

#include <cstddef>
#include <string>

namespace Qv {

/// Finds the entries of a dictionary that begin with what somebody has typed; upper and lower case
/// are the same.
///
///     completer.complete( "glo", true );  // the first entry of those with "glo"
///     completer.complete( "glo", true );  // the next one, after the last the first again
///     line = completer.item();
///
/// Threads: one at a time.
class QV_RESMGT_API LiStringCompleter {
public:
    /// Replaces the entries; forgets the last request.
    void setDictionnary( const Vector<std::string>& entries );
    /// False, without a change, if the entry is there already. Forgets the last request.
    bool addDictionnaryEntry( const std::string& entry );

    /// Goes to the first entry that begins with `prefix`, in the dictionary's order, or to the last
    /// one where `isForward` is false. Asked again with the same prefix it goes on to the next, or
    /// back to the one before, and around at the ends. False if there is none.
    bool complete( const std::string& prefix, bool isForward );
    /// The result of `complete`; empty if there is none.
    const std::string& item() const noexcept { return _item; }

private:
    void forget();

    Vector<std::string> _dictionnary;
    /// In lower case; without matches there is no last request.
    std::string _prefix;
    Vector<std::string> _matches;
    std::size_t _current = 0;
    std::string _item;
};

} // namespace Qv
