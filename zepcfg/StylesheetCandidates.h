#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

namespace zep::cli {

enum class CandidateState {
  used,    // it is the stylesheet
  missing, // there is none here, the search goes on
  refused, // it ends the search without a stylesheet
  failed,  // whether there is one could not be found out
  skipped  // an earlier one was used
};

// One of the places where a stylesheet is looked for.
struct Candidate {
  std::string source; // "server", "setting", "installation"
  CandidateState state;
  std::string path; // of the file that was looked for; empty where there is none
  std::string reason;
};

// The server's stylesheet and how the request for it ended.
struct ServerAnswer {
  bool wasAsked = false;
  long result = 0;
  std::string stylesheet;
};

// The places in the order in which the library looks at them, for a caller who names no stylesheet.
std::vector<Candidate> findCandidates(const ServerAnswer& answer);

// The candidate that decides: the first that is used, refused or failed. Null where none is.
const Candidate* decidingCandidate(const std::vector<Candidate>& candidates);

const char* stateName(CandidateState state);

nlohmann::ordered_json candidatesAsJSON(const std::vector<Candidate>& candidates);

// The file name that stylesheets have under an installation root.
std::string installedStylesheetName();

} // namespace zep::cli
