#pragma once

// Stands in for the header of the same name where the library is built without a single trace call, to be
// measured beside the real one. No operation has a body, so nothing of it is left.

class ZEPPLMID;
class ZEPUnicodeString;

class ZEPCfgServiceTrace {
public:
  ZEPCfgServiceTrace(const char*, const char*, const char*) {}

  template <class... Arguments>
  void Label(const Arguments&...) {}
  template <class... Arguments>
  void Dump(const Arguments&...) {}
  template <class... Arguments>
  void DumpMade(const Arguments&...) {}
  template <class... Arguments>
  void DumpId(const Arguments&...) {}
  template <class... Arguments>
  void Number(const Arguments&...) {}
  template <class... Arguments>
  void Value(const Arguments&...) {}
  template <class... Arguments>
  void Error(const Arguments&...) {}
  template <class... Arguments>
  void Notice(const Arguments&...) {}
  template <class... Arguments>
  void Result(const Arguments&...) {}
  template <class... Arguments>
  void Perfo(const Arguments&...) {}
  bool IsPerfoActivated() { return false; }
};

template <ZEPCfgServiceTrace& trace>
class ZEPCfgTracedMethod {
public:
  explicit ZEPCfgTracedMethod(char*) {}
  ~ZEPCfgTracedMethod() {} // a frame that does nothing is no unused variable
  ZEPCfgTracedMethod(const ZEPCfgTracedMethod&) = delete;
  ZEPCfgTracedMethod& operator=(const ZEPCfgTracedMethod&) = delete;
};
