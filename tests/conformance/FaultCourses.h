#pragma once

#include "FaultMatrix.h"

#include <initializer_list>
#include <string>

// What each operation is to do, step by step. An output goes in as the caller passed it.
namespace fault {

// A text as an argument of a call shows it: an empty one in quotes.
std::string argument(const std::string& text);

// ---- filters ----
long courseOfInclusion(Course& course, std::string& included);

// ---- web services ----
struct Request {
  std::string verb = "GET";
  std::string url = "/path";
  std::string json = "{}";
};
long courseOfCall(Course& course, const Request& request, std::string& answer);
long courseOfNewCall(Course& course, const Request& request, std::string& answer);
long courseOfOldCall(Course& course, const Request& request, std::string& answer);
// "null" is the null identifier.
long courseOfJsonList(Course& course, std::initializer_list<const char*> ids, std::string& texts);

// ---- XML expressions ----
long courseOfAlwaysTrue(Course& course, const std::string& holder, std::string& expression);
long courseOfEncoding(Course& course, const std::string& path);
// The answer is the script's usual one: {"xslt":{"content":"server stylesheet"}}.
long courseOfParse(Course& course, bool hasMembers, std::string& stylesheet);
long courseOfFetch(Course& course, std::string& stylesheet);

struct Formatting {
  std::string expression;
  std::string customFile;
  bool isCompact = false;
};
long courseOfFormat(Course& course, const Formatting& formatting, std::string& formatted);
long courseOfStart(Course& course, const std::string& customFile);
long courseOfExpression(Course& course, const Formatting& formatting, std::string& formatted);
long courseOfEnd(Course& course);
// Each text in angle quotes, in the list as in `formatted`.
long courseOfBatch(Course& course, std::initializer_list<const char*> expressions,
                   const std::string& customFile, std::string& formatted);

} // namespace fault
