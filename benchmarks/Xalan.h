#pragma once

#include <memory>
#include <string>
#include <string_view>

// Formatting with Xalan-C: a stylesheet that is compiled once.
class XalanStylesheet {
public:
  explicit XalanStylesheet(const std::string& path);
  ~XalanStylesheet();
  XalanStylesheet(const XalanStylesheet&) = delete;
  XalanStylesheet& operator=(const XalanStylesheet&) = delete;

  // In the stylesheet's encoding.
  std::string Format(std::string_view expression);

private:
  struct Objects;
  std::unique_ptr<Objects> m_objects;
};
