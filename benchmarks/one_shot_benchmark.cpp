#include "Bench.h"
#include "Inputs.h"
#include "Libxslt.h"

#include "ZEPCfgXMLExpressionServices.h"
#include "ZEPHResult.h"

#include <algorithm>
#include <string>
#include <vector>

// One expression and a stylesheet file, in one call: with a stylesheet that was used before, and with one
// that nobody has seen. The peer reads and compiles the stylesheet each time, as one does who keeps nothing.

namespace {

ZEPUnicodeString format(const ZEPUnicodeString& expression, const ZEPUnicodeString& stylesheet) {
  ZEPUnicodeString text;
  bench::require(ZEPCfgXMLExpressionServices::FormatExpression(expression, text, stylesheet, 0) == S_OK,
                 "an expression is not formatted");
  return text;
}

// Each is another stylesheet, and no two are ever equal: a number stands in a comment at its end.
std::vector<std::string> newStylesheets(std::size_t count) {
  static const std::string text = bench::readFile(ZEP_STYLESHEET_UTF8);
  static std::size_t made = 0;
  std::vector<std::string> paths;
  for (std::size_t i = 0; i < count; ++i) {
    const std::string number = std::to_string(++made);
    paths.push_back(bench::scratchDirectory() / ("new-" + number + ".xsl"));
    bench::writeFile(paths.back(), text + "<!-- " + number + " -->\n");
  }
  return paths;
}

// A work that takes the next one of these each time.
template <class Format>
bench::Work withNext(std::vector<std::string> paths, Format format) {
  return [paths = std::move(paths), next = std::size_t{0}, format]() mutable {
    bench::keep(format(paths.at(next++)));
  };
}

void compare(const inputs::Size& size) {
  constexpr std::size_t count = 60;
  const std::string expression = inputs::expression(size.bytes);
  const ZEPUnicodeString text = bench::textOf(expression);
  const std::string known = ZEP_STYLESHEET_UTF8;
  bench::requireSame("one_shot", bench::utf8Of(format(text, known.c_str())),
                     libxslt::formatOnce(expression, known));

  const std::string used = std::string("one_shot/used_before/") + size.name;
  bench::add(used + "/ours", [=] { bench::keep(format(text, known.c_str())); });
  bench::add(used + "/libxslt", [=] { bench::keep(libxslt::formatOnce(expression, known)); });

  const std::string first = std::string("one_shot/first_use/") + size.name;
  bench::addCounted(first + "/ours", count, [=](std::size_t times) {
    return withNext(newStylesheets(times),
                    [=](const std::string& path) { return format(text, path.c_str()); });
  });
  bench::addCounted(first + "/libxslt", count, [=](std::size_t times) {
    return withNext(newStylesheets(times),
                    [=](const std::string& path) { return libxslt::formatOnce(expression, path); });
  });
}

} // namespace

int main(int argc, char** argv) {
  compare(inputs::size1KB);
  compare(inputs::size10KB);
  return bench::run(argc, argv);
}
