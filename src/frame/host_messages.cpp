#include "frame/host_messages.h"

void showError(const LWMessageFuncs* messages, const char* first, const char* second) {
  if (messages && messages->error) messages->error(first, second);
}

void showWarning(const LWMessageFuncs* messages, const char* first, const char* second) {
  if (messages && messages->warning) messages->warning(first, second);
}
