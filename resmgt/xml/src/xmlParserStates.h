#pragma once

#include <resmgt/xml/src/xmlParserState.h>
#include <resmgt/xml/xmlEx.h>

namespace Qv {

/// White space, comments and what is dropped are passed by the states that they stand in. Behind a
/// comment, of which the "-" behind "<!" decides, its state goes on.
///
/// State             Input                      Reported            Next
/// Initial           end                                            Final
///                   <?                                             Declaration
///                   <!--                                           Initial
///                   <!                                             Doctype
///                   <                                              InElement
/// Declaration       to ?>                                          Initial
/// Doctype           to >                                           Initial
/// InElement         /                                              ClosingElement
///                   name, white space          element begins      InAttribute
///                   name, >                    element begins      Data
///                   name, />                   begins and ends     EscapingData
///                   end                                            Final
/// InAttribute       >                          start tag ends      Data
///                   />                         element ends        EscapingData
///                   other                                          AttributeName
/// AttributeName     to =                                           AttributeValue
/// AttributeValue    to the opening quote       attribute           InAttribute
/// ClosingElement    to >                       element closes      EscapingData
/// Data              end, if there is no text                       Final
///                   <!--                                           Data
///                   <, if there is no text                         InElement
///                   text to </                 text                InElement, at the /
/// EscapingData      end                                            Final
///                   <!--                                           EscapingData
///                   <                                              InElement
/// Any               else                                           Error
/// Error             raises XmlEx::ExSyntaxError
namespace XmlParserStates {

template <class Engine>
class InitialState final : public XmlParserState<Engine> {
public:
    XmlParserState<Engine>* handle( Engine& engine ) override;
};

template <class Engine>
class DeclarationState final : public XmlParserState<Engine> {
public:
    XmlParserState<Engine>* handle( Engine& engine ) override;
};

template <class Engine>
class DoctypeState final : public XmlParserState<Engine> {
public:
    XmlParserState<Engine>* handle( Engine& engine ) override;
};

template <class Engine>
class InElementState final : public XmlParserState<Engine> {
public:
    XmlParserState<Engine>* handle( Engine& engine ) override;
};

template <class Engine>
class ClosingElementState final : public XmlParserState<Engine> {
public:
    XmlParserState<Engine>* handle( Engine& engine ) override;
};

template <class Engine>
class InAttributeState final : public XmlParserState<Engine> {
public:
    XmlParserState<Engine>* handle( Engine& engine ) override;
};

template <class Engine>
class AttributeNameState final : public XmlParserState<Engine> {
public:
    XmlParserState<Engine>* handle( Engine& engine ) override;
};

template <class Engine>
class AttributeValueState final : public XmlParserState<Engine> {
public:
    XmlParserState<Engine>* handle( Engine& engine ) override;
};

template <class Engine>
class DataState final : public XmlParserState<Engine> {
public:
    XmlParserState<Engine>* handle( Engine& engine ) override;
};

template <class Engine>
class EscapingDataState final : public XmlParserState<Engine> {
public:
    XmlParserState<Engine>* handle( Engine& engine ) override;
};

template <class Engine>
class FinalState final : public XmlParserState<Engine> {
public:
    FinalState()
        : XmlParserState<Engine>( XmlParserState<Engine>::Kind::END ) {}
    XmlParserState<Engine>* handle( Engine& ) override { return this; }
};

template <class Engine>
class ErrorState final : public XmlParserState<Engine> {
public:
    /// What is raised, and where. `message` is kept.
    void set( const char* message, const XmlPosition& position ) {
        _message = message;
        _position = position;
    }
    XmlParserState<Engine>* handle( Engine& engine ) override;

private:
    const char* _message = "";
    XmlPosition _position;
};

} // namespace XmlParserStates

} // namespace Qv
