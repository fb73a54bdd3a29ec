/* broken_plugins/never_answers.c : takes every message and never answers one. */
#include "kel/plugin.h"

static void answer_nothing(void* element, kel_batch_function batch, kel_message* first,
                           kel_message* end) {
  (void)element, (void)batch, (void)first, (void)end;
}

#define FAULT_ANSWER answer_nothing
#include "broken_plugins/synchronous_plugin.h"
