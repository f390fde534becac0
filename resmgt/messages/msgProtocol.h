#pragma once

#include <resmgt/messages/msgTypes.h>
#include <resmgt/resmgtApi.h>

#include <iosfwd>
#include <map>
#include <string>
#include <vector>

namespace Qv {

class MsgSubscription;

/// One message: a template, the values for its place holders, and a level.
///
///     MsgWarning( notSaved ).substitute( path.toString() ).substitute( errno ).display();
///
/// Place holders: "%1" to "%9" stand for the values in the order in which they were given; a
///           template may use one twice, or in another order. "%name%", letters, digits and "_"
///           with no digit first, stands for the value of that name. "%%" is a percent sign, any
///           other "%" stays as it is.
/// Values:   go in as they are: a "%1" in one of them isn't a place holder. One that the template
///           doesn't ask for is left out, as is every value after the ninth; a place holder without
///           a value stays visible.
/// No text:  of a subscription whose tag wasn't found the message is the tag, and behind it all
///           values, so that nothing is lost, those with names by alphabet:
///           `notSaved "a.exr" "13" reason="read-only"`.
/// Threads:  as any value; `display` from any thread.
class QV_RESMGT_API MsgProtocol {
public:
    MsgProtocol( const MsgSubscription& subscription, MsgTypes::Level level );
    /// `text` is the template.
    MsgProtocol( const std::string& text, MsgTypes::Level level );
    MsgProtocol( const MsgProtocol& ) = default;
    MsgProtocol& operator=( const MsgProtocol& ) = default;
    virtual ~MsgProtocol();

    /// A number is put in as decimal digits, a fraction with as few as read back as the same
    /// number: "0.1", "25", "1e+20".
    MsgProtocol& substitute( int value );
    MsgProtocol& substitute( unsigned int value );
    MsgProtocol& substitute( long value );
    MsgProtocol& substitute( unsigned long value );
    MsgProtocol& substitute( long long value );
    MsgProtocol& substitute( unsigned long long value );
    MsgProtocol& substitute( double value );
    MsgProtocol& substitute( const std::string& value );
    /// The value of a name; a former one is replaced.
    MsgProtocol& substitute( const char* name, const char* value );

    std::string getText() const;
    MsgTypes::Level getLevel() const noexcept { return _level; }
    /// Level and text on one line, without its end.
    void dump( std::ostream& stream ) const;

    /// Hands the message to the server's manager. Without a manager nothing happens.
    void display() const;

private:
    std::string expandTemplate() const;
    std::string listValues() const;
    std::size_t expandPlaceHolder( std::size_t place, std::string& text ) const;

    std::string _template;
    bool _hasText;
    MsgTypes::Level _level;
    std::vector<std::string> _values;
    std::map<std::string, std::string> _namedValues;
};

/// Something that happened, nothing to worry about.
class QV_RESMGT_API MsgInformation : public MsgProtocol {
public:
    explicit MsgInformation( const MsgSubscription& subscription );
    explicit MsgInformation( const std::string& text );
};

/// The work goes on, but not as it should.
class QV_RESMGT_API MsgWarning : public MsgProtocol {
public:
    explicit MsgWarning( const MsgSubscription& subscription );
    explicit MsgWarning( const std::string& text );
};

/// Something that was asked for can't be done.
class QV_RESMGT_API MsgError : public MsgProtocol {
public:
    explicit MsgError( const MsgSubscription& subscription );
    explicit MsgError( const std::string& text );
};

/// The application can't go on.
class QV_RESMGT_API MsgFatalError : public MsgProtocol {
public:
    explicit MsgFatalError( const MsgSubscription& subscription );
    explicit MsgFatalError( const std::string& text );
};

} // namespace Qv
