// Applies a stylesheet file to an expression file on a thread with a stack of a given size:
//   attack_probe STYLESHEET EXPRESSION STACK_BYTES
// Result and exit code are those that zepcfg gives: text and 0, or a message and 2.

#include "ZEPError.h"
#include "ZEPHResult.h"
#include "ZEPIXMLPPFactory.h"
#include "ZEPIXMLSAX2Factory.h"
#include "ZEPIXMLXSLFactory.h"
#include "ZEPUnicodeString.h"
#include "ZEPXMLPPMemoryBuffer.h"
#include "ZEPXMLXSLTransformerOptions.h"

#include <cstdio>
#include <cstdlib>
#include <pthread.h>

namespace {

struct Job {
  const char* stylesheet;
  const char* expression;
  int exitCode = 3;
};

long SourceOf(const char* path, ZEPISAXInputSource_var& source) {
  ZEPIXMLSAX2Factory_var factory;
  const long code = CreateZEPIXMLSAX2Factory(factory, CLSID_XML4C_SAX);
  return ZEPFailed(code) ? code : factory->CreateInputSourceFromFile(path, path, source);
}

long TransformerOf(const char* path, ZEPIXMLXSLTransformer_var& transformer) {
  ZEPISAXInputSource_var source;
  ZEPIXMLXSLFactory_var factory;
  long code = SourceOf(path, source);
  if (ZEPSucceeded(code)) {
    code = CreateZEPIXMLXSLFactory(factory, CLSID_XSLT_JAVA);
  }
  return ZEPFailed(code) ? code : factory->CreateTransformer(source, transformer);
}

long OutputTo(ZEPXMLPPMemoryBuffer& buffer, ZEPIXMLPPOutputSource_var& output) {
  ZEPIXMLPPFactory_var factory;
  const long code = CreateZEPIXMLPPFactory(factory, CLSID_XML4C5_PP);
  return ZEPFailed(code) ? code : factory->CreateOutputSource(buffer, output);
}

long Apply(const Job& job, ZEPXMLPPMemoryBuffer& buffer) {
  ZEPIXMLXSLTransformer_var transformer;
  ZEPISAXInputSource_var input;
  ZEPIXMLPPOutputSource_var output;
  long code = TransformerOf(job.stylesheet, transformer);
  if (ZEPSucceeded(code)) {
    code = SourceOf(job.expression, input);
  }
  if (ZEPSucceeded(code)) {
    code = OutputTo(buffer, output);
  }
  if (ZEPFailed(code)) {
    return code;
  }
  transformer->SetOption(ZEPXMLXSLTransformerOptions::OutputFormat, "text");
  transformer->SetInputSource(input);
  transformer->SetOutputSource(output);
  code = transformer->Transform();
  transformer->SetOutputSource(NULL_var);
  return code;
}

int Report(long code, ZEPXMLPPMemoryBuffer& buffer) {
  if (ZEPFailed(code)) {
    ZEPError* const error = ZEPError::ZEPGetLastError(code, nullptr);
    std::fprintf(stderr, "%s\n", error == nullptr ? "" : error->GetMessageText().ConvertToChar());
    return 2;
  }
  unsigned char* bytes = nullptr;
  unsigned int count = 0;
  buffer.GetBuffer(bytes, count);
  std::fwrite(bytes, 1, count, stdout);
  return 0;
}

void* Run(void* argument) {
  Job& job = *static_cast<Job*>(argument);
  ZEPXMLPPMemoryBuffer buffer(64);
  const long code = Apply(job, buffer);
  job.exitCode = Report(code, buffer);
  return nullptr;
}

} // namespace

int main(int argc, char** argv) {
  if (argc != 4) {
    return 3;
  }
  Job job{argv[1], argv[2]};
  pthread_attr_t attributes;
  pthread_t thread;
  pthread_attr_init(&attributes);
  if (pthread_attr_setstacksize(&attributes, std::strtoul(argv[3], nullptr, 10)) != 0 ||
      pthread_create(&thread, &attributes, Run, &job) != 0 || pthread_join(thread, nullptr) != 0) {
    return 3;
  }
  pthread_attr_destroy(&attributes);
  return job.exitCode;
}
