/* c_host.c : a host in plain C that knows nothing of the plugin but its entry points. Loads the
 * host functions into the global scope and the plugin into a local one, lays a configuration map
 * out by hand, and takes the plugin through its life without a single message.
 *
 * usage: c_host LIBRARY-FOLDER
 * Exit code: 0 if all is as documented, else 1 with the first difference on standard error. */
#define _GNU_SOURCE
#include <dlfcn.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "kel/host_control.h"
#include "kel/kel.h"

#define CHECK(condition)                                                      \
  do {                                                                        \
    if (!(condition)) {                                                       \
      fprintf(stderr, "%s:%d: not so: %s\n", __FILE__, __LINE__, #condition); \
      exit(1);                                                                \
    }                                                                         \
  } while (0)

static void* load(const char* folder, const char* name, int mode) {
  char path[4096];
  snprintf(path, sizeof path, "%s/%s", folder, name);
  void* const library = dlopen(path, mode);
  if (library == NULL) {
    fprintf(stderr, "%s\n", dlerror());
    exit(1);
  }
  return library;
}

static void* host_library;
static void* plugin_library;

/* Function pointers and object pointers convert by way of memory in ISO C. */
#define RESOLVE(library, name)                    \
  do {                                            \
    void* const symbol = dlsym((library), #name); \
    CHECK(symbol != NULL);                        \
    memcpy(&(name##_), &symbol, sizeof symbol);   \
  } while (0)

static __typeof__(&kel_copy_string) kel_copy_string_;
static __typeof__(&kel_hash_string) kel_hash_string_;
static __typeof__(&kel_allocate_map) kel_allocate_map_;
static __typeof__(&kel_reallocate_map) kel_reallocate_map_;
static __typeof__(&kel_free_map) kel_free_map_;
static __typeof__(&kel_free_string) kel_free_string_;
static __typeof__(&kel_copy_data) kel_copy_data_;
static __typeof__(&kel_data_to_string) kel_data_to_string_;
static __typeof__(&kel_host_set_log_sink) kel_host_set_log_sink_;
static __typeof__(&kel_plugin_api_version_HTTPClient) kel_plugin_api_version_HTTPClient_;
static __typeof__(&kel_plugin_product_version_HTTPClient) kel_plugin_product_version_HTTPClient_;
static __typeof__(&kel_create_plugin_with_params_HTTPClient)
    kel_create_plugin_with_params_HTTPClient_;
static __typeof__(&kel_destroy_plugin_HTTPClient) kel_destroy_plugin_HTTPClient_;
static __typeof__(&kel_plugin_setNextTowardsHost_HTTPClient)
    kel_plugin_setNextTowardsHost_HTTPClient_;
static __typeof__(&kel_plugin_start_HTTPClient) kel_plugin_start_HTTPClient_;
static __typeof__(&kel_plugin_hostReady_HTTPClient) kel_plugin_hostReady_HTTPClient_;
static __typeof__(&kel_plugin_shutdown_HTTPClient) kel_plugin_shutdown_HTTPClient_;
static __typeof__(&kel_plugin_sendBatchTowardsTransport_HTTPClient)
    kel_plugin_sendBatchTowardsTransport_HTTPClient_;

static void resolve_all(void) {
  RESOLVE(host_library, kel_copy_string);
  RESOLVE(host_library, kel_hash_string);
  RESOLVE(host_library, kel_allocate_map);
  RESOLVE(host_library, kel_reallocate_map);
  RESOLVE(host_library, kel_free_map);
  RESOLVE(host_library, kel_free_string);
  RESOLVE(host_library, kel_copy_data);
  RESOLVE(host_library, kel_data_to_string);
  RESOLVE(host_library, kel_host_set_log_sink);
  RESOLVE(plugin_library, kel_plugin_api_version_HTTPClient);
  RESOLVE(plugin_library, kel_plugin_product_version_HTTPClient);
  RESOLVE(plugin_library, kel_create_plugin_with_params_HTTPClient);
  RESOLVE(plugin_library, kel_destroy_plugin_HTTPClient);
  RESOLVE(plugin_library, kel_plugin_setNextTowardsHost_HTTPClient);
  RESOLVE(plugin_library, kel_plugin_start_HTTPClient);
  RESOLVE(plugin_library, kel_plugin_hostReady_HTTPClient);
  RESOLVE(plugin_library, kel_plugin_shutdown_HTTPClient);
  RESOLVE(plugin_library, kel_plugin_sendBatchTowardsTransport_HTTPClient);
}

static kel_map_slot* slots_of(map_block* block) { return (kel_map_slot*)(block + 1); }

static kel_data text_value(const char* text) {
  kel_data value = {.tag = KEL_TAG_STRING};
  value.payload.string = kel_copy_string_(text);
  return value;
}

/* Inserts by open addressing; the block has room. */
static void insert(map_block* block, const char* key, kel_data value) {
  const uint64_t hash = kel_hash_string_(key);
  uint64_t place = hash % block->capacity;
  while (slots_of(block)[place].hash != 0) {
    place = (place + 1) % block->capacity;
  }
  slots_of(block)[place] = (kel_map_slot){.hash = hash, .key = text_value(key), .value = value};
  block->count++;
}

static char last_error[1000];

static void keep_error(void* context, const char* category, int32_t level, const char* text) {
  (void)context;
  (void)category;
  if (level <= 2) {
    snprintf(last_error, sizeof last_error, "%s", text);
  }
}

static void refuse_batch(void* host_element, kel_message* first, kel_message* end) {
  (void)host_element;
  (void)first;
  (void)end;
  CHECK(!"no message was sent");
}

/* A value passed and returned by value arrives whole in both directions. */
static void check_calling_convention(void) {
  const kel_data number = {.payload = {.integer = INT64_MIN + 1}, .tag = KEL_TAG_INTEGER};
  const kel_data copy = kel_copy_data_(number);
  CHECK(copy.tag == KEL_TAG_INTEGER && copy.payload.integer == INT64_MIN + 1);
  const kel_data text = kel_data_to_string_(number);
  CHECK(text.tag == KEL_TAG_STRING);
  CHECK(strcmp(text.payload.string, "-9223372036854775807") == 0);
  kel_free_string_(text.payload.string);
}

static map_block* configuration(void) {
  map_block* block = kel_allocate_map_(2);
  CHECK(block->label == NULL && block->count == 0 && block->capacity == 2 && block->deleted == 0);
  insert(block, "host", text_value("127.0.0.1"));
  const kel_data clients = {.payload = {.integer = 2}, .tag = KEL_TAG_INTEGER};
  insert(block, "numClients", clients);
  block = kel_reallocate_map_(block, 16);
  CHECK(block->count == 2 && block->capacity == 16);
  return block;
}

static void check_refusal(void) {
  const kel_data no_map = {.tag = KEL_TAG_EMPTY};
  void* const plugin =
      kel_create_plugin_with_params_HTTPClient_("plugin", "chain", &no_map, NULL, NULL);
  CHECK(plugin == NULL);
  CHECK(strstr(last_error, "Exception from create: ") != NULL);
}

static void check_life(void) {
  map_block* const block = configuration();
  const kel_data config = {.payload = {.map = block}, .tag = KEL_TAG_MAP};
  int handle = 0;
  last_error[0] = '\0';
  void* const plugin =
      kel_create_plugin_with_params_HTTPClient_("plugin", "chain", &config, &handle, &handle);
  CHECK(plugin != NULL);
  kel_free_map_(block);
  CHECK(kel_plugin_setNextTowardsHost_HTTPClient_(plugin, &handle, refuse_batch) == 0);
  CHECK(kel_plugin_start_HTTPClient_(plugin) == 0);
  CHECK(kel_plugin_hostReady_HTTPClient_(plugin) == 0);
  CHECK(kel_plugin_sendBatchTowardsTransport_HTTPClient_(plugin, NULL, NULL) == 0);
  CHECK(kel_plugin_shutdown_HTTPClient_(plugin) == 0);
  CHECK(kel_destroy_plugin_HTTPClient_(plugin) == 0);
  CHECK(strcmp(last_error, "") == 0);
}

int main(int argc, char** argv) {
  CHECK(argc == 2);
  host_library = load(argv[1], "libkelhost.so", RTLD_NOW | RTLD_GLOBAL);
  plugin_library = load(argv[1], "libHTTPClient.so", RTLD_NOW | RTLD_LOCAL);
  resolve_all();
  kel_host_set_log_sink_(keep_error, NULL);

  CHECK(kel_plugin_api_version_HTTPClient_() == 4);
  CHECK(strcmp(kel_plugin_product_version_HTTPClient_(), "10.15.0.2") == 0);
  check_calling_convention();
  check_refusal();
  check_life();
  return 0;
}
