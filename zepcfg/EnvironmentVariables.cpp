#include "EnvironmentVariables.h"

#include <charconv>
#include <system_error>

namespace zep::cli {
namespace {

constexpr std::int64_t day = std::int64_t{24} * 60 * 60 * 1000; // in milliseconds
constexpr std::int64_t gibibyte = std::int64_t{1} << 30;

} // namespace

const std::vector<EnvironmentVariable>& environmentVariables() {
  using enum Concern;
  using enum VariableKind;
  static const std::vector<EnvironmentVariable> variables{
      {"ZEPInstallPath", stylesheets, text,
       "installation roots, separated by semicolons; a stylesheet is in resources/xsl below one of them",
       "the program's own resources"},
      {"ZEP_SETTINGS_DIR", stylesheets, text, "the only directory in which settings are looked for",
       "zepcfg in XDG_CONFIG_HOME and in each of XDG_CONFIG_DIRS"},
      {"XDG_CONFIG_HOME", stylesheets, text, "directory with the user's settings in zepcfg", "~/.config"},
      {"XDG_CONFIG_DIRS", stylesheets, text, "directories with the system's settings, separated by colons",
       "/etc/xdg"},
      {"ZEP_BRANCHING", stylesheets, onOff, "the branching stylesheet is used, as with --branching", ""},
      {"ZEP_URL", server, text, "URL of the PLM server, as with --url", "no server is asked"},
      {"ZEP_CONTEXT", server, text, "security context for the server, as with --context", ""},
      {"CFG_OldCallWebService", server, onOff, "calls use the legacy HTTP stack", ""},
      {"ZEP_CA_FILE", server, text, "PEM file with a further certificate authority", "SSL_CERT_FILE"},
      {"SSL_CERT_FILE", server, text, "the same, where ZEP_CA_FILE is not set", ""},
      {"ZEP_HTTP_CONNECT_TIMEOUT_MS", server, number, "milliseconds for a connection", "10000", day},
      {"ZEP_HTTP_STALL_TIMEOUT_MS", server, number, "milliseconds without a byte", "60000", day},
      {"ZEP_HTTP_TOTAL_TIMEOUT_MS", server, number, "milliseconds for a whole request", "300000", day},
      {"ZEP_HTTP_MAX_BODY_BYTES", server, number, "longest body of an answer", "67108864", 2 * gibibyte},
      {"ZEP_XSLT_TIMEOUT_MS", transformation, number, "milliseconds for one transformation", "10000", day},
      {"ZEP_XSLT_MAX_OUTPUT_BYTES", transformation, number, "longest result", "67108864", gibibyte},
      {"ZEP_XSLT_MAX_NODES", transformation, number, "most nodes of an expression", "5000000", gibibyte},
      {"ZEP_XSLT_MAX_EXPRESSION_BYTES", transformation, number, "longest expression", "67108864", gibibyte},
      {"ZEP_XSLT_MAX_STYLESHEET_BYTES", transformation, number,
       "longest stylesheet, with all that it includes", "8388608", gibibyte},
      {"ZEP_XSLT_MAX_MEMORY_BYTES", transformation, number,
       "most memory of one transformation, or of one compilation", "1073741824", 64 * gibibyte},
      {"ZEP_FILTER_MAX_TERMS", filters, number, "most terms of a filter's normal form", "65536", 10'000'000},
      {"ZEP_FILTER_TIMEOUT_MS", filters, number, "milliseconds for one comparison", "10000", day},
      {"ZEP_TRACE", trace, text, "what is traced: all, or classes, groups and perfo, separated by commas",
       "nothing"},
      {"ZEP_TRACE_FILE", trace, text, "file that the trace is appended to, as with --trace",
       "standard error"},
      {"ZEP_TRACE_FORMAT", trace, text, "form of the trace: json (an object in each line) or text",
       "json for a file that ends with .jsonl"},
      {"ZEP_TRACE_SECRETS", trace, onOff, "the trace shows the security context", ""},
      {"NO_COLOR", terminal, text, "nothing is coloured, whatever its value", ""},
  };
  return variables;
}

const EnvironmentVariable* findVariable(const std::string& name) {
  for (const EnvironmentVariable& variable : environmentVariables()) {
    if (name == variable.name) {
      return &variable;
    }
  }
  return nullptr;
}

bool isWellFormed(const EnvironmentVariable& variable, const std::string& value) {
  if (value.empty() || variable.kind == VariableKind::text) {
    return true;
  }
  if (variable.kind == VariableKind::onOff) {
    return value == "0" || value == "1";
  }
  std::int64_t number = 0;
  const auto [end, error] = std::from_chars(value.data(), value.data() + value.size(), number);
  return error == std::errc() && end == value.data() + value.size() && number >= 1 && number <= variable.most;
}

std::string expectedValue(const EnvironmentVariable& variable) {
  return variable.kind == VariableKind::number  ? "a whole number from 1 to " + std::to_string(variable.most)
         : variable.kind == VariableKind::onOff ? "1, or 0"
                                                : "a text";
}

} // namespace zep::cli
