// The refine question as `ombrel render` has it asked: on a terminal, or by a handler that
// stands in for the host's policy.
#include <cstdio>
#include <string>

#include <gmock/gmock.h>
#include <lwhost.h>

#include "host/services/host.h"
#include "host/services/host_info.h"

using ::testing::HasSubstr;

namespace {

struct Terminal {
  explicit Terminal(const std::string& typed) : input(typed) {
    in = fmemopen(input.data(), input.size(), "r");
    out = open_memstream(&written, &size);
  }
  ~Terminal() {
    std::fclose(in);
    std::fclose(out);
    std::free(written);
  }
  host::AnswerPolicy ask(const std::string& kind) {
    const auto a = host::askOnTerminal(in, out, kind, "Refine existing frames?", "First line.", "Second line.");
    std::fflush(out);
    return a;
  }
  std::string shown() const { return std::string(written, size); }

  std::string input;
  std::FILE* in;
  std::FILE* out;
  char* written = nullptr;
  size_t size = 0;
};

TEST(RenderQuestion, AnsweredOnATerminalUntilAnAnswerIsUnderstood) {
  {
    Terminal t("maybe\n  Y \n");
    EXPECT_EQ(t.ask("yesNoCan"), host::AnswerPolicy::Yes);
    EXPECT_THAT(t.shown(), HasSubstr("Refine existing frames?"));
    EXPECT_THAT(t.shown(), HasSubstr("First line."));
    EXPECT_THAT(t.shown(), HasSubstr("Second line."));
    EXPECT_THAT(t.shown(), HasSubstr("[y]es, [n]o or [c]ancel"));
  }
  EXPECT_EQ(Terminal("no\n").ask("yesNoCan"), host::AnswerPolicy::No);
  EXPECT_EQ(Terminal("Cancel\n").ask("yesNoCan"), host::AnswerPolicy::Cancel);
  // The end of the input: cancel where there is one, else no.
  EXPECT_EQ(Terminal("").ask("yesNoCan"), host::AnswerPolicy::Cancel);
  EXPECT_EQ(Terminal("c\n").ask("yesNo"), host::AnswerPolicy::No);  // "c" is no answer to a yes/no
  EXPECT_EQ(Terminal("ok\n").ask("okCancel"), host::AnswerPolicy::Yes);
}

TEST(RenderQuestion, AHandlerAnswersInsteadOfThePolicyAndIsRecorded) {
  host::HostSettings settings;
  settings.messagesToStderr = false;
  settings.answer = host::AnswerPolicy::Yes;
  host::Host h(std::make_shared<host::Scene>(), settings);
  auto* messages = static_cast<LWMessageFuncs*>(h.global("Info Messages 3", 0));
  ASSERT_NE(messages, nullptr);
  int asked = 0;
  host::setQuestionHandler(h, [&](const std::string& kind, const char* title, const char*, const char*) {
    ++asked;
    EXPECT_EQ(kind, "yesNoCan");
    EXPECT_STREQ(title, "T");
    return std::optional(host::AnswerPolicy::No);
  });
  EXPECT_EQ(messages->yesNoCan("T", "a", "b"), 1);  // No, as Layout numbers the three buttons
  EXPECT_EQ(asked, 1);
  EXPECT_EQ(h.settings().answer, host::AnswerPolicy::Yes);  // the policy stands for later
  ASSERT_EQ(h.messages().size(), 1u);
  EXPECT_EQ(h.messages()[0], (host::HostMessage{"yesNoCan", "T: a", "b"}));
  // A handler without an answer, or none at all, leaves the question to the policy.
  host::setQuestionHandler(h, [](const std::string&, const char*, const char*, const char*) {
    return std::optional<host::AnswerPolicy>();
  });
  EXPECT_EQ(messages->yesNoCan("T", "a", "b"), 2);
  host::setQuestionHandler(h, {});
  EXPECT_EQ(messages->yesNo("T", "a", "b"), 1);
}

}  // namespace
