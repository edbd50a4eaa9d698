#pragma once

#include "ZEPComponent.h"
#include "ZEPISAXInputSource.h"
#include "ZEPUnicodeString.h"

namespace zep {

// The input sources of this platform: a file or a text in memory, read when it is used.
class XMLInputSource final : public ZEPComponent<ZEPISAXInputSource> {
public:
  enum class Kind { File, Memory };

  // `content` is the path of a file, or the text itself.
  XMLInputSource(Kind kind, const ZEPUnicodeString& content, const ZEPUnicodeString& sourceId)
      : m_kind(kind),
        m_content(content),
        m_sourceId(sourceId) {}

  bool IsFile() const { return m_kind == Kind::File; }
  const ZEPUnicodeString& Content() const { return m_content; }
  const ZEPUnicodeString& SourceId() const { return m_sourceId; }

private:
  Kind m_kind;
  ZEPUnicodeString m_content;
  ZEPUnicodeString m_sourceId;
};

// The source behind a handle, or null for an empty handle and for a source of somebody else.
inline XMLInputSource* SourceOf(const ZEPISAXInputSource_var& handle) {
  return !handle ? nullptr : dynamic_cast<XMLInputSource*>(handle.operator->());
}

} // namespace zep
