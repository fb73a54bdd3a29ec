/* broken_plugins/send_fails_half_way.c : answers the first message of a batch, takes no other and
 * reports a failure. */
#include "kel/host_values.h"
#include "kel/plugin.h"

static void answer_first(void* element, kel_batch_function batch, kel_message* first,
                         kel_message* end) {
  (void)end;
  kel_message taken = *first;
  *first = (kel_message){0};
  batch(element, &taken, &taken + 1);
  kel_free_buffer(taken.payload.payload.buffer);
  kel_free_map(taken.metadata);
}

#define FAULT_ANSWER answer_first
#define FAULT_SEND
#include "broken_plugins/synchronous_plugin.h"
