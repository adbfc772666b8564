#pragma once
// Questions of "Info Messages" that someone other than the host's policy answers: a person
// at a terminal, or a program that wants to know that a question came up.
#include <cstdio>
#include <functional>
#include <optional>
#include <string>

#include "host/services/host.h"

namespace host {

// Given the question's kind ("okCancel", "yesNo", "yesNoCan", "yesNoAll"), its title and its
// two lines. An answer is recorded with the host's messages as the policy's would be; no
// answer leaves the question to the policy.
using QuestionHandler = std::function<std::optional<AnswerPolicy>(const std::string& kind, const char* title,
                                                                  const char* first, const char* second)>;

// Replaces the host's handler; an empty one gives every question back to the policy.
void setQuestionHandler(Host& host, QuestionHandler handler);

// Asks on a terminal: writes the question to `out` and reads answers from `in` until one is
// understood ("y"/"yes", "n"/"no", "c"/"cancel", by the choices the kind offers). The end of
// the input is a cancel, or a no where the kind has no cancel.
AnswerPolicy askOnTerminal(std::FILE* in, std::FILE* out, const std::string& kind, const char* title,
                           const char* first, const char* second);

}  // namespace host
