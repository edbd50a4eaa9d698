#include "ScriptedState.h"
#include "ZEPComponent.h"
#include "ZEPIXMLPPFactory.h"
#include "ZEPIXMLSAX2Factory.h"
#include "ZEPIXMLXSLFactory.h"
#include "ZEPXMLPPMemoryBuffer.h"
#include "ZEPXMLXSLTransformerOptions.h"

#include <cstring>
#include <memory>

using namespace scripted;

// ---- memory buffer ----

struct ZEPXMLPPMemoryBuffer::Implementation {
  // The bytes stand at an odd address, and what lies behind them belongs to nobody.
  std::unique_ptr<unsigned char[]> storage;
  unsigned int byteCount = 0;
  LiveObject live{"memoryBuffer"};

  void Write(const std::string& bytes) {
    storage = std::make_unique<unsigned char[]>(bytes.size() + 1);
    std::memcpy(storage.get() + 1, bytes.data(), bytes.size());
    byteCount = static_cast<unsigned int>(bytes.size());
  }
};

class ZEPXMLPPMemoryBufferAccess {
public:
  static std::weak_ptr<ZEPXMLPPMemoryBuffer::Implementation> BytesOf(ZEPXMLPPMemoryBuffer& buffer) {
    return buffer.m_implementation;
  }
};

ZEPXMLPPMemoryBuffer::ZEPXMLPPMemoryBuffer(unsigned int iInitialSizeBytes) {
  const Call call(Op::ZEPXMLPPMemoryBuffer, iInitialSizeBytes);
  m_implementation = std::make_shared<Implementation>();
}

ZEPXMLPPMemoryBuffer::~ZEPXMLPPMemoryBuffer() = default;

long ZEPXMLPPMemoryBuffer::GetBuffer(unsigned char*& oBytes, unsigned int& oByteCount) {
  const Call call(Op::GetBuffer);
  if (!call.Fails()) {
    const bool isEmpty = call.GivesEmpty() || m_implementation->storage == nullptr;
    oBytes = isEmpty ? nullptr : m_implementation->storage.get() + 1;
    oByteCount = isEmpty ? 0 : m_implementation->byteCount;
  }
  return call.Code();
}

// ---- sources and transformer ----

namespace {

class InputSource final : public ZEPComponent<ZEPISAXInputSource> {
public:
  explicit InputSource(const ZEPUnicodeString& sourceId) : m_live(utf8Of(sourceId)) {}

  static Plain NameOf(const ZEPISAXInputSource_var& source) {
    return {!source ? "null" : static_cast<const InputSource*>(source.operator->())->m_live.Name()};
  }

private:
  LiveObject m_live;
};

class OutputSource final : public ZEPComponent<ZEPIXMLPPOutputSource> {
public:
  explicit OutputSource(ZEPXMLPPMemoryBuffer& buffer)
      : m_bytes(ZEPXMLPPMemoryBufferAccess::BytesOf(buffer)) {}

  void Write(const std::string& bytes) {
    if (const auto living = m_bytes.lock()) {
      living->Write(bytes);
    }
  }

private:
  std::weak_ptr<ZEPXMLPPMemoryBuffer::Implementation> m_bytes;
  LiveObject m_live{"outputSource"};
};

Plain nameOf(const ZEPIXMLPPOutputSource_var& source) {
  return {!source ? "null" : "outputSource"};
}

Plain nameOfOption(const ZEPUnicodeString& option) {
  return {option == ZEPXMLXSLTransformerOptions::OutputFormat ? "OutputFormat" : shown(option)};
}

class Transformer final : public ZEPComponent<ZEPIXMLXSLTransformer> {
public:
  long SetInputSource(const ZEPISAXInputSource_var& iSource) override {
    const Call call(Op::SetInputSource, InputSource::NameOf(iSource));
    if (!call.Fails()) {
      m_input = iSource;
      m_isInputSet = true;
    }
    return call.Code();
  }

  long SetOption(const ZEPUnicodeString& iOption, const ZEPUnicodeString& iValue) override {
    const Call call(Op::SetOption, nameOfOption(iOption), iValue);
    return call.Code();
  }

  long SetOutputSource(const ZEPIXMLPPOutputSource_var& iSource) override {
    const Call call(Op::SetOutputSource, nameOf(iSource));
    if (!call.Fails()) {
      m_output = iSource;
    }
    return call.Code();
  }

  long SetParameter(const ZEPUnicodeString& iName, const ZEPUnicodeString& iNamespace,
                    const ZEPUnicodeString& iValue) override {
    const Call call(Op::SetParameter, iName, iNamespace, iValue);
    return call.Code();
  }

  long Transform() override {
    const Call call(Op::Transform);
    if (call.Fails()) {
      return call.Code();
    }
    if (!m_isInputSet || !m_output) {
      reportMisuse("Transform without an input or an output source");
    }
    if (!m_input || !m_output) {
      return call.Code(E_UNEXPECTED);
    }
    if (script().transformBytes && !call.GivesEmpty()) {
      static_cast<OutputSource*>(m_output.operator->())->Write(*script().transformBytes);
    }
    return call.Code();
  }

private:
  ZEPISAXInputSource_var m_input; // may be empty: a caller need not look at what it got
  bool m_isInputSet = false;
  ZEPIXMLPPOutputSource_var m_output;
  LiveObject m_live{"transformer"};
};

// ---- factories ----

// Gives out a new object, unless the script wants otherwise.
template <class Object, class Handle, class... Arguments>
long create(const Call& call, Handle& handle, Arguments&&... arguments) {
  const bool isMade = !call.Fails() && !call.GivesEmpty();
  handle = isMade ? Handle(new Object(std::forward<Arguments>(arguments)...)) : Handle();
  return call.Code();
}

class SAX2Factory final : public ZEPComponent<ZEPIXMLSAX2Factory> {
public:
  long CreateInputSourceFromFile(const ZEPUnicodeString& iPath, const ZEPUnicodeString& iSourceId,
                                 ZEPISAXInputSource_var& oSource) override {
    const Call call(Op::CreateInputSourceFromFile, iPath, iSourceId);
    return create<InputSource>(call, oSource, iSourceId);
  }

  long CreateInputSourceFromMemoryBuffer(const ZEPUnicodeString& iText, const ZEPUnicodeString& iSourceId,
                                         ZEPISAXInputSource_var& oSource) override {
    const Call call(Op::CreateInputSourceFromMemoryBuffer, iText, iSourceId);
    return create<InputSource>(call, oSource, iSourceId);
  }

private:
  LiveObject m_live{"sax2Factory"};
};

class XSLFactory final : public ZEPComponent<ZEPIXMLXSLFactory> {
public:
  long CreateTransformer(const ZEPISAXInputSource_var& iStylesheet,
                         ZEPIXMLXSLTransformer_var& oTransformer) override {
    const Call call(Op::CreateTransformer, InputSource::NameOf(iStylesheet));
    return create<Transformer>(call, oTransformer);
  }

private:
  LiveObject m_live{"xslFactory"};
};

class PPFactory final : public ZEPComponent<ZEPIXMLPPFactory> {
public:
  long CreateOutputSource(ZEPXMLPPMemoryBuffer& ioBuffer, ZEPIXMLPPOutputSource_var& oSource) override {
    const Call call(Op::CreateOutputSource);
    return create<OutputSource>(call, oSource, ioBuffer);
  }

private:
  LiveObject m_live{"ppFactory"};
};

Plain nameOf(const GUID& classId) {
  struct Known {
    const GUID& classId;
    const char* name;
  };
  const Known known[] = {{CLSID_XML4C_SAX, "CLSID_XML4C_SAX"},
                         {CLSID_XSLT_JAVA, "CLSID_XSLT_JAVA"},
                         {CLSID_XML4C5_PP, "CLSID_XML4C5_PP"}};
  for (const Known& candidate : known) {
    if (std::memcmp(&candidate.classId, &classId, sizeof(GUID)) == 0) {
      return {candidate.name};
    }
  }
  return {"unknown class id"};
}

template <class Object, class Handle>
long createFactory(Op operation, Handle& factory, const GUID& classId, const GUID& wanted) {
  const Call call(operation, nameOf(classId));
  if (std::memcmp(&classId, &wanted, sizeof(GUID)) != 0) {
    factory = Handle();
    return call.Code(REGDB_E_CLASSNOTREG);
  }
  return create<Object>(call, factory);
}

} // namespace

long CreateZEPIXMLSAX2Factory(ZEPIXMLSAX2Factory_var& oFactory, const GUID& iClassId) {
  return createFactory<SAX2Factory>(Op::CreateZEPIXMLSAX2Factory, oFactory, iClassId, CLSID_XML4C_SAX);
}

long CreateZEPIXMLXSLFactory(ZEPIXMLXSLFactory_var& oFactory, const GUID& iClassId) {
  return createFactory<XSLFactory>(Op::CreateZEPIXMLXSLFactory, oFactory, iClassId, CLSID_XSLT_JAVA);
}

long CreateZEPIXMLPPFactory(ZEPIXMLPPFactory_var& oFactory, const GUID& iClassId) {
  return createFactory<PPFactory>(Op::CreateZEPIXMLPPFactory, oFactory, iClassId, CLSID_XML4C5_PP);
}
