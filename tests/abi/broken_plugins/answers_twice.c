/* broken_plugins/answers_twice.c : sends every message back two times. */
#include "kel/plugin.h"

static void answer_twice(void* element, kel_batch_function batch, kel_message* first,
                         kel_message* end) {
  batch(element, first, end);
  batch(element, first, end);
}

#define FAULT_ANSWER answer_twice
#include "broken_plugins/synchronous_plugin.h"
