#include "TraceTree.h"

#include <gmock/gmock.h>

using testing::ElementsAre;
using testing::IsEmpty;
using zep::cli::TraceKind;
using zep::cli::TraceNode;
using zep::cli::TraceRecord;
using zep::cli::TraceTree;

namespace {

// "Run[detail;Ask!(E_FAIL)[!no answer]]": a call with its children; "!" behind a name that it failed, "?"
// that its end or its start is missing.
std::string inWords(const TraceNode& node) {
  if (!node.isCall) {
    return (node.record.kind == TraceKind::error ? "!" : "") + node.record.text;
  }
  const bool isWhole = !node.end.empty() && !node.record.time.empty();
  std::string text = node.record.operation + (node.hasFailed ? "!" : "") + (isWhole ? "" : "?") +
                     (node.result.empty() ? "" : "(" + node.result + ")") + "[";
  for (const TraceNode& child : node.children) {
    text += (&child == &node.children.front() ? "" : ";") + inWords(child);
  }
  return text + "]";
}

class TraceTrees : public testing::Test {
protected:
  void add(TraceKind kind, const std::string& operation, const std::string& text = "") {
    TraceRecord record;
    record.time = "2024-05-01T12:00:00.000000Z";
    record.thread = m_thread;
    record.kind = kind;
    record.className = "Job";
    record.operation = operation;
    record.text = text;
    m_tree.add(record);
  }
  void enter(const std::string& operation) { add(TraceKind::entry, operation); }
  void enterAt(std::size_t depth, const std::string& operation) {
    TraceRecord record;
    record.time = "t";
    record.kind = TraceKind::entry;
    record.operation = operation;
    record.depth = depth;
    m_tree.add(record);
  }
  void leave(const std::string& operation) { add(TraceKind::exit, operation); }
  void detail(const std::string& text) { add(TraceKind::detail, "", text); }
  void result(const std::string& name) { add(TraceKind::result, "", "rc = " + name); }
  void error(const std::string& text) {
    add(TraceKind::error, "", "**** ERROR ****");
    add(TraceKind::error, "", "**** " + text);
  }

  long m_thread = 1;
  std::vector<std::string> m_trees;
  TraceTree m_tree{[this](const TraceNode& node) { m_trees.push_back(inWords(node)); }};
};

} // namespace

TEST_F(TraceTrees, calls_hold_what_happened_inside) {
  detail("before");
  enter("Run");
  detail("a");
  enter("Ask");
  detail("b");
  result("S_OK");
  leave("Ask");
  detail("c");
  leave("Run");
  EXPECT_THAT(m_trees, ElementsAre("before", "Run[a;Ask(S_OK)[b];c]"));
}

TEST_F(TraceTrees, call_is_given_as_soon_as_it_ended) {
  enter("Run");
  EXPECT_THAT(m_trees, IsEmpty());
  leave("Run");
  EXPECT_THAT(m_trees, ElementsAre("Run[]"));
}

TEST_F(TraceTrees, failure_is_told_from_the_result_and_else_from_an_error) {
  enter("Outer");
  enter("Negative");
  result("E_FAIL");
  leave("Negative");
  enter("Number");
  result("-2146893513");
  leave("Number");
  enter("Positive");
  result("S_FALSE");
  leave("Positive");
  enter("Mended");
  error("first try");
  result("S_OK");
  leave("Mended");
  enter("Silent");
  error("no answer");
  leave("Silent");
  result("S_OK");
  leave("Outer");
  EXPECT_THAT(m_trees,
              ElementsAre("Outer(S_OK)[Negative!(E_FAIL)[];Number!(-2146893513)[];Positive(S_FALSE)[];"
                          "Mended(S_OK)[!first try];Silent![!no answer]]"));
}

TEST_F(TraceTrees, branch_with_a_failure_is_marked_up_to_its_root) {
  bool holdsFailure = false;
  TraceTree tree([&holdsFailure](const TraceNode& node) { holdsFailure = node.holdsFailure; });
  TraceRecord record;
  for (const char* const operation : {"a", "b", "c"}) {
    record.kind = TraceKind::entry;
    record.operation = operation;
    tree.add(record);
  }
  record.kind = TraceKind::result;
  record.text = "rc = E_FAIL";
  tree.add(record);
  tree.finish();
  EXPECT_TRUE(holdsFailure);
}

TEST_F(TraceTrees, threads_are_kept_apart) {
  enter("Run");
  m_thread = 2;
  enter("Other");
  detail("b");
  m_thread = 1;
  detail("a");
  leave("Run");
  m_thread = 2;
  leave("Other");
  EXPECT_THAT(m_trees, ElementsAre("Run[a]", "Other[b]"));
}

TEST_F(TraceTrees, calls_without_an_end_are_given_at_the_end) {
  enter("Run");
  enter("Ask");
  m_tree.finish();
  EXPECT_THAT(m_trees, ElementsAre("Run?[Ask?[]]"));
}

TEST_F(TraceTrees, call_whose_exit_is_lost_ends_with_the_one_around_it) {
  enter("Run");
  enter("Ask");
  leave("Run");
  EXPECT_THAT(m_trees, ElementsAre("Run[Ask?[]]"));
}

TEST_F(TraceTrees, exit_without_an_entry_is_a_call_of_its_own) {
  leave("Run");
  enter("Next");
  leave("Other");
  leave("Next");
  EXPECT_THAT(m_trees, ElementsAre("Run?[]", "Next[Other?[]]"));
}

TEST_F(TraceTrees, call_that_stands_no_deeper_than_one_that_runs_follows_it) {
  enterAt(0, "Died");
  enterAt(1, "Inside");
  enterAt(0, "Run");
  enterAt(4, "Filtered");
  enterAt(4, "Next");
  m_tree.finish();
  EXPECT_THAT(m_trees, ElementsAre("Died?[Inside?[]]", "Run?[Filtered?[];Next?[]]"));
}

TEST_F(TraceTrees, endless_nesting_stays_within_bounds) {
  std::size_t trees = 0;
  TraceTree tree([&trees](const TraceNode&) { ++trees; });
  TraceRecord record;
  record.kind = TraceKind::entry;
  for (int i = 0; i < 5000; ++i) {
    tree.add(record);
  }
  tree.finish();
  EXPECT_EQ(trees, 5U);
}
