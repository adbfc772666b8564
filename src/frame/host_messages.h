#pragma once
// Messages to the user through the host's "Info Messages" service, at the top of a call
// chain. Quiet when the service is missing.
#include <lwhost.h>

void showError(const LWMessageFuncs* messages, const char* first, const char* second);
void showWarning(const LWMessageFuncs* messages, const char* first, const char* second);
