#include "Checks.h"
#include "Environment.h"
#include "EnvironmentVariables.h"
#include "Server.h"
#include "Suggestion.h"
#include "Text.h"

#include <algorithm>
#include <cerrno>
#include <clocale>
#include <cstring>
#include <fstream>
#include <iterator>
#include <langinfo.h>
#include <locale.h>
#include <sys/stat.h>
#include <unistd.h>

extern char** environ;

namespace zep::cli {
namespace {

constexpr char area[] = "environment";

std::string valueOf(const char* name) {
  return environmentValue(name).value_or("");
}

std::string shown(const std::string& name, const std::string& value) {
  return name + " is '" + value + "'";
}

// ---- variables ---------------------------------------------------------------------------------

bool isOurs(const std::string& name) {
  const std::string lower = toLowerASCII(name);
  return startsWith(lower, "zep_") || startsWith(lower, "cfg_old") || startsWith(lower, "zepinstall");
}

std::string nearestVariable(const std::string& name) {
  std::vector<std::string> known;
  for (const EnvironmentVariable& variable : environmentVariables()) {
    if (toLowerASCII(name) == toLowerASCII(variable.name)) {
      return variable.name;
    }
    known.emplace_back(variable.name);
  }
  return nearestWord(name, known);
}

void checkUnknownVariable(const std::string& name, Checks& checks) {
  const std::string nearest = nearestVariable(name);
  checks.push_back(
      {area, Health::note, "nothing reads the variable " + name,
       nearest.empty() ? "unset it; zepcfg(1) lists those that are read" : "did you mean " + nearest + "?"});
}

void checkValue(const EnvironmentVariable& variable, const std::string& value, Checks& checks) {
  if (!isWellFormed(variable, value)) {
    checks.push_back({area, variable.kind == VariableKind::number ? Health::fault : Health::note,
                      shown(variable.name, value) + ", which counts as not set",
                      "write " + expectedValue(variable) + ", or unset it"});
  } else if (variable.kind == VariableKind::onOff && value == "1") {
    checks.push_back({area, Health::note, shown(variable.name, value) + ": " + variable.meaning, ""});
  } else if (variable.kind == VariableKind::number && !value.empty()) {
    checks.push_back({area, Health::good, shown(variable.name, value), ""});
  }
}

void checkVariables(Checks& checks) {
  for (char** entry = environ; *entry != nullptr; ++entry) {
    const std::string text = *entry;
    const std::size_t equals = std::min(text.find('='), text.size());
    const std::string name = text.substr(0, equals);
    if (const EnvironmentVariable* const variable = findVariable(name)) {
      checkValue(*variable, text.substr(std::min(equals + 1, text.size())), checks);
    } else if (isOurs(name)) {
      checkUnknownVariable(name, checks);
    }
  }
}

// ---- server ------------------------------------------------------------------------------------

// The part between "//" and the path.
std::string authorityOf(const std::string& url) {
  const std::size_t start = url.find("//") + 2;
  return url.substr(start, url.find_first_of("/?#", start) - start);
}

bool isPort(const std::string& text) {
  return !text.empty() && text.size() <= 5 &&
         std::all_of(text.begin(), text.end(), [](char digit) { return digit >= '0' && digit <= '9'; }) &&
         std::stol(text) >= 1 && std::stol(text) <= 65535;
}

std::string hostOf(const std::string& authority) {
  const std::size_t bracket = authority.find(']');
  const std::size_t colon = authority.find(':', bracket == std::string::npos ? 0 : bracket);
  return authority.substr(0, colon);
}

// What is wrong with a URL, as a remedy; empty where nothing is.
std::string remedyForURL(const std::string& url) {
  const std::string lower = toLowerASCII(url);
  if (!startsWith(lower, "http://") && !startsWith(lower, "https://")) {
    return "it has to begin with http:// or https://";
  }
  const std::string authority = authorityOf(url);
  const std::string host = hostOf(authority);
  if (host.empty()) {
    return "name the host behind the two slashes";
  }
  if (contains(authority, "@")) {
    return "leave out the user name: a URL with one is refused";
  }
  if (host.size() < authority.size() && !isPort(authority.substr(host.size() + 1))) {
    return "write the port as a number from 1 to 65535 behind the host";
  }
  if (url.find_first_of(" \t\r\n") != std::string::npos) {
    return "leave out the blanks";
  }
  return url.find_first_of("?#") == std::string::npos ? "" : "leave out what begins with ? or #";
}

bool isLoopback(const std::string& host) {
  const std::string lower = toLowerASCII(host);
  return lower == "localhost" || startsWith(lower, "127.") || lower == "[::1]";
}

std::string withoutBlanksBehind(std::string text) {
  text.erase(text.find_last_not_of(" \t\r\n") + 1);
  return text;
}

void checkURL(Checks& checks) {
  const std::string url = withoutBlanksBehind(serverURL());
  if (url.empty()) {
    checks.push_back({area, Health::note, "no server is named, none is asked",
                      "name one with --url URL or ZEP_URL if there is one"});
    return;
  }
  const std::string remedy = remedyForURL(url);
  checks.push_back(
      {area, remedy.empty() ? Health::good : Health::fault, "the server's URL is '" + url + "'", remedy});
  if (remedy.empty() && url.back() == '/') {
    checks.push_back({area, Health::note,
                      "the server's URL ends with a slash, and so every path begins with two",
                      "leave it out"});
  }
  if (remedy.empty() && startsWith(toLowerASCII(url), "http://") && !isLoopback(hostOf(authorityOf(url)))) {
    checks.push_back({area, Health::note, "requests and the security context are sent unencrypted",
                      "use https:// if the server has it"});
  }
}

void checkContext(Checks& checks) {
  const std::string context = valueOf("ZEP_CONTEXT");
  const bool hasControl = std::any_of(context.begin(), context.end(), [](char character) {
    return static_cast<unsigned char>(character) < 0x20 && character != '\t';
  });
  if (hasControl) {
    checks.push_back({area, Health::fault,
                      "the security context holds a line end or another control character",
                      "leave it out: no header may hold it"});
  } else if (!context.empty()) {
    checks.push_back({area, Health::good, "the security context is set", ""});
  } else if (!serverURL().empty()) {
    checks.push_back({area, Health::fault, "there is a server but no security context",
                      "name one with --context TEXT or ZEP_CONTEXT"});
  }
}

struct AuthorityFile {
  std::string variable;
  std::string path; // empty: none is named
};

AuthorityFile authorityFile() {
  for (const char* const name : {"ZEP_CA_FILE", "SSL_CERT_FILE"}) {
    if (!valueOf(name).empty()) {
      return {name, valueOf(name)};
    }
  }
  return {};
}

// Empty where the file can be used.
std::string problemOfAuthorityFile(const std::string& path) {
  struct stat info;
  if (stat(path.c_str(), &info) != 0) {
    return std::strerror(errno);
  }
  if (!S_ISREG(info.st_mode)) {
    return "it is not a regular file";
  }
  if (access(path.c_str(), R_OK) != 0) {
    return std::strerror(errno);
  }
  std::ifstream file(path, std::ios::binary);
  for (std::string line; std::getline(file, line);) {
    if (contains(line, "-----BEGIN CERTIFICATE-----") ||
        contains(line, "-----BEGIN TRUSTED CERTIFICATE-----")) {
      return "";
    }
  }
  return "it holds no certificate in PEM form";
}

void checkAuthority(Checks& checks) {
  const AuthorityFile file = authorityFile();
  if (file.path.empty()) {
    return;
  }
  const std::string problem = problemOfAuthorityFile(file.path);
  if (problem.empty()) {
    checks.push_back({area, Health::good, shown(file.variable, file.path), ""});
  } else {
    checks.push_back({area, Health::fault,
                      shown(file.variable, file.path) + ", which cannot be used: " + problem,
                      "name a PEM file with the certificate of the authority, or unset it: every https "
                      "request fails"});
  }
}

// ---- trace -------------------------------------------------------------------------------------

constexpr const char* traceNames[] = {"1",
                                      "all",
                                      "0",
                                      "off",
                                      "perfo",
                                      "default",
                                      "CfgWeb",
                                      "Settings",
                                      "ZEPCfgFilterBasicServices",
                                      "ZEPCfgXMLExpressionServices",
                                      "ZEPCfgWebServices",
                                      "ZEPHttpTransport",
                                      "ZEPSysSettingRepository"};

std::string trimmed(const std::string& text) {
  const std::size_t start = text.find_first_not_of(" \t");
  return start == std::string::npos ? "" : text.substr(start, text.find_last_not_of(" \t") - start + 1);
}

void checkTraceItem(const std::string& item, Checks& checks) {
  const bool isKnown = std::any_of(std::begin(traceNames), std::end(traceNames), [&item](const char* name) {
    return toLowerASCII(item) == toLowerASCII(name);
  });
  if (item.empty() || isKnown) {
    return;
  }
  const std::string nearest = nearestWord(item, {std::begin(traceNames), std::end(traceNames)});
  checks.push_back(
      {"trace", Health::note, "ZEP_TRACE names '" + item + "', no class or group of zepcfg",
       nearest.empty() ? "name a class, a group, perfo or all" : "did you mean " + nearest + "?"});
}

void checkTraceItems(const std::string& wanted, Checks& checks) {
  for (std::size_t start = 0; start <= wanted.size();) {
    const std::size_t end = std::min(wanted.find(',', start), wanted.size());
    checkTraceItem(trimmed(wanted.substr(start, end - start)), checks);
    start = end + 1;
  }
}

// Empty where lines can be appended to it; nothing is made or changed.
std::string problemOfTraceFile(const std::string& path) {
  struct stat info;
  if (stat(path.c_str(), &info) == 0) {
    return S_ISDIR(info.st_mode)             ? std::strerror(EISDIR)
           : access(path.c_str(), W_OK) != 0 ? std::strerror(errno)
                                             : "";
  }
  if (errno != ENOENT) {
    return std::strerror(errno);
  }
  const std::size_t slash = path.rfind('/');
  const std::string folder = slash == std::string::npos ? "." : path.substr(0, slash + 1);
  return access(folder.c_str(), W_OK) == 0 ? "" : folder + ": " + std::strerror(errno);
}

void checkTraceFile(const std::string& path, Checks& checks) {
  const std::string problem = problemOfTraceFile(path);
  if (!problem.empty()) {
    checks.push_back({"trace", Health::fault, "the trace cannot be written to '" + path + "': " + problem,
                      "name a file that can be written with ZEP_TRACE_FILE or --trace=FILE"});
    return;
  }
  checks.push_back({"trace", Health::good, "the trace is appended to '" + path + "'", ""});
  struct stat info;
  if (stat(path.c_str(), &info) == 0 && S_ISREG(info.st_mode) && (info.st_mode & (S_IRGRP | S_IROTH)) != 0) {
    checks.push_back({"trace", Health::note,
                      "others may read '" + path + "', in which expressions and answers stand as they are",
                      "chmod 600 '" + path + "'"});
  }
}

bool isTraceOn(const std::string& wanted) {
  const std::string lower = toLowerASCII(trimmed(wanted));
  return !lower.empty() && lower != "0" && lower != "off";
}

} // namespace

void checkEnvironment(Checks& checks) {
  checkURL(checks);
  checkContext(checks);
  checkAuthority(checks);
  checkVariables(checks);
}

void checkTrace(Checks& checks) {
  const std::string wanted = valueOf("ZEP_TRACE");
  const std::string file = valueOf("ZEP_TRACE_FILE");
  const std::string format = valueOf("ZEP_TRACE_FORMAT");
  checkTraceItems(wanted, checks);
  if (!file.empty() && file != "-" && isTraceOn(wanted)) {
    checkTraceFile(file, checks);
  } else if (!file.empty() && !isTraceOn(wanted)) {
    checks.push_back({"trace", Health::note, "ZEP_TRACE_FILE is set, but nothing is traced",
                      "say with ZEP_TRACE what is wanted, such as ZEP_TRACE=all"});
  }
  if (!format.empty() && format != "json" && format != "text") {
    checks.push_back({"trace", Health::note, shown("ZEP_TRACE_FORMAT", format) + ", which does nothing",
                      "write json or text"});
  }
}

void checkLocale(Checks& checks) {
  const locale_t locale = newlocale(LC_ALL_MASK, "", nullptr);
  if (locale == nullptr) {
    checks.push_back({"locale", Health::note, "the locale of the environment is not installed",
                      "set LANG and LC_ALL to one that `locale -a` lists, such as C.UTF-8"});
    return;
  }
  const std::string encoding = nl_langinfo_l(CODESET, locale);
  freelocale(locale);
  if (encoding == "UTF-8") {
    checks.push_back({"locale", Health::good, "texts are UTF-8, as the locale says", ""});
  } else {
    checks.push_back({"locale", Health::note,
                      "texts are UTF-8, but a terminal in this locale shows " + encoding,
                      "set LANG to a locale with UTF-8, such as C.UTF-8"});
  }
}

bool maySendRequests() {
  const std::string path = authorityFile().path;
  struct stat info;
  return path.empty() || stat(path.c_str(), &info) != 0 || S_ISREG(info.st_mode);
}

} // namespace zep::cli
