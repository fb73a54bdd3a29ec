/* broken_plugins/odd_answers.c : answers with values of which no JSON exists. */
#include <math.h>
#include <string.h>

#include "kel/host_values.h"
#include "kel/plugin.h"

static kel_data text(char* chars) {
  kel_data data = {.payload.string = chars, .tag = KEL_TAG_BORROWED_STRING};
  return data;
}

static kel_data number(double value) {
  kel_data data = {.payload.number = value, .tag = KEL_TAG_DOUBLE};
  return data;
}

/* Lays a list out in the caller's memory and has the host copy it. */
static kel_data odd_list(void) {
  static char latin1[] = "caf\xE9";
  struct {
    list_block header;
    kel_data elements[5];
  } list = {.header = {5, 0}};
  list.elements[0] = number((double)NAN);
  list.elements[1] = number(-(double)INFINITY);
  list.elements[2] = text(latin1);
  list.elements[3].tag = 77;
  list.elements[4].tag = KEL_TAG_MAP;
  kel_data data = {.payload.list = &list.header, .tag = KEL_TAG_LIST};
  return kel_copy_data(data);
}

static kel_message answer_with_odd_values(void) {
  kel_message answer = {.payload = odd_list(), .metadata = kel_allocate_map(1)};
  kel_map_slot* slot = (kel_map_slot*)(answer.metadata + 1);
  slot->hash = 7;
  slot->key.payload.integer = 5;
  slot->key.tag = KEL_TAG_INTEGER;
  slot->value = text(kel_copy_string("v"));
  slot->value.tag = KEL_TAG_STRING;
  answer.metadata->count = 1;
  return answer;
}

/* The first message of a batch gets the odd values, the others an answer of null blocks. */
static void answer_oddly(void* element, kel_batch_function batch, kel_message* first,
                         kel_message* end) {
  kel_message odd = answer_with_odd_values();
  batch(element, &odd, &odd + 1);
  kel_free_vector(odd.payload.payload.list);
  kel_free_map(odd.metadata);
  for (kel_message* message = first + 1; message != end; ++message) {
    kel_message bare = {.payload = {.tag = KEL_TAG_BUFFER}, .metadata = NULL};
    batch(element, &bare, &bare + 1);
  }
}

#define FAULT_ANSWER answer_oddly
#include "broken_plugins/synchronous_plugin.h"
