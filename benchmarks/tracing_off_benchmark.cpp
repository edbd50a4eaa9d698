#include "Bench.h"
#include "Inputs.h"
#include "LibraryOperations.h"

#include <cstdlib>
#include <memory>
#include <string>

// What the trace costs while it is off: the shipped library beside the same sources built without a trace
// call, both in this process on the same platform.

namespace {

struct Variant {
  const char* who;
  const LibraryOperations& library;
};
constexpr const char* ours = "ours";
constexpr const char* without = "no_trace_calls";
const Variant variants[] = {{ours, shippedLibrary}, {without, libraryWithoutTrace}};

class Sequence {
public:
  explicit Sequence(const LibraryOperations& library) : m_library(library) {
    m_library.startFormatting(ZEP_STYLESHEET_UTF8);
  }
  ~Sequence() { m_library.endFormatting(); }
  Sequence(const Sequence&) = delete;
  Sequence& operator=(const Sequence&) = delete;

  ZEPUnicodeString Format(const ZEPUnicodeString& expression) const {
    ZEPUnicodeString text;
    m_library.format(expression, text);
    return text;
  }

private:
  const LibraryOperations& m_library;
};

ZEPUnicodeString cleaned(const LibraryOperations& library, const ZEPUnicodeString& expression) {
  ZEPUnicodeString text;
  library.removeDescription(expression, text);
  return text;
}

std::string formatted(const LibraryOperations& library, const ZEPUnicodeString& expression) {
  return bench::utf8Of(Sequence(library).Format(expression));
}

void verify(const ZEPUnicodeString& expression) {
  bench::requireSame("tracing/format", formatted(shippedLibrary, expression),
                     formatted(libraryWithoutTrace, expression));
  bench::requireSame("tracing/remove_description", bench::utf8Of(cleaned(shippedLibrary, expression)),
                     bench::utf8Of(cleaned(libraryWithoutTrace, expression)));
  bench::require(shippedLibrary.split(expression) == libraryWithoutTrace.split(expression), "tracing/split");
}

} // namespace

int main(int argc, char** argv) {
  unsetenv("ZEP_TRACE");
  const ZEPUnicodeString expression = bench::textOf(inputs::expression(inputs::size1KB.bytes));
  verify(expression);
  for (const Variant& variant : variants) {
    const LibraryOperations& library = variant.library;
    const std::string who = variant.who;
    bench::addPrepared("tracing/off_format/1KB/" + who, [&]() -> bench::Work {
      return
          [&, sequence = std::make_shared<Sequence>(library)] { bench::keep(sequence->Format(expression)); };
    });
    bench::add("tracing/off_remove_description/1KB/" + who,
               [&] { bench::keep(cleaned(library, expression)); });
    bench::add("tracing/off_split/1KB/" + who, [&] { bench::keep(library.split(expression)); });
  }
  return bench::run(argc, argv);
}
