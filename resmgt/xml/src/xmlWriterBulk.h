#pragma once

#include <resmgt/xml/xmlWriter.h>

namespace Qv {

/// Until scope exit the writer's pieces go to its stream together. What is still waiting then,
/// since an exception has come, is whole and goes too.
class XmlWriter::Bulk {
public:
    explicit Bulk( XmlWriter& writer );
    Bulk( const Bulk& ) = delete;
    Bulk& operator=( const Bulk& ) = delete;
    ~Bulk();

    /// Unless another one goes on.
    void flush();

private:
    static constexpr std::size_t SIZE = 1 << 16;

    XmlWriter& _writer;
    const std::size_t _formerSize;
};

} // namespace Qv
