#pragma once

#include <memory>
#include <string>
#include <string_view>

// Formatting with libxslt and nothing else, through its public calls.
namespace libxslt {

// A stylesheet that is compiled once.
class Stylesheet {
public:
  explicit Stylesheet(const std::string& path);
  ~Stylesheet();
  Stylesheet(const Stylesheet&) = delete;
  Stylesheet& operator=(const Stylesheet&) = delete;

  // As the documentation shows it: read, apply, save. In the stylesheet's encoding.
  std::string Plain(std::string_view expression) const;
  // With one parser and the stylesheet's dictionary for all expressions, and the text gathered straight
  // from the result tree. In UTF-8, whatever the stylesheet says.
  std::string Best(std::string_view expression) const;

private:
  struct Objects;
  std::unique_ptr<Objects> m_objects;
};

// Everything anew: reads and compiles the stylesheet, too.
std::string formatOnce(std::string_view expression, const std::string& stylesheetPath);

} // namespace libxslt
