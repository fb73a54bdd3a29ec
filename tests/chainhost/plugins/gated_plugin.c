/* plugins/gated_plugin.c : a plugin with a worker, a small queue and a gate: for tests that decide
 * when a message is answered.
 *
 * Configuration: "gate": path of a FIFO; the worker takes a byte out of it before each answer,
 * at its end none any more. Without one it answers freely. The queue holds two messages; the first
 * sender that finds it full logs "waiting for room". Answers are the messages as they came.
 * shutdown drains unless the host is shutting down, and leaves what it finds then unanswered.
 * create logs its names and its log level.
 */
#include <fcntl.h>
#include <poll.h>
#include <pthread.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <time.h>
#include <unistd.h>

#include "kel/host_services.h"
#include "kel/host_values.h"
#include "kel/plugin.h"

enum { kCapacity = 2, kSliceMs = 10 };

typedef struct gated_plugin {
  pthread_mutex_t mutex;
  pthread_cond_t changed;
  pthread_t worker;
  bool started;
  bool terminated; /* guarded by the mutex, as are the queue's members */
  bool busy;
  bool has_logged;
  kel_message queue[kCapacity];
  int queued;
  int gate;    /* -1: none */
  int stop[2]; /* a pipe whose writing end is closed to wake the worker at the gate */
  void* host_handle;
  void* host_element;
  kel_batch_function batch;
} gated_plugin;

static void release_message(kel_message* message) {
  switch (message->payload.tag) {
    case KEL_TAG_STRING:
      kel_free_string(message->payload.payload.string);
      break;
    case KEL_TAG_LIST:
      kel_free_vector(message->payload.payload.list);
      break;
    case KEL_TAG_MAP:
      kel_free_map(message->payload.payload.map);
      break;
    case KEL_TAG_BUFFER:
      kel_free_buffer(message->payload.payload.buffer);
      break;
    default:
      break;
  }
  kel_free_map(message->metadata);
  memset(message, 0, sizeof *message);
}

static const char* gate_path(const kel_data* config) {
  const map_block* map = config->payload.map;
  if (config->tag != KEL_TAG_MAP || map == NULL) {
    return NULL;
  }
  const kel_map_slot* slots = (const kel_map_slot*)(map + 1);
  for (uint64_t index = 0; index < map->capacity; ++index) {
    if (slots[index].key.tag == KEL_TAG_STRING &&
        strcmp(slots[index].key.payload.string, "gate") == 0) {
      return slots[index].value.payload.string;
    }
  }
  return NULL;
}

/* False: the plugin is being terminated. */
static bool pass_gate(gated_plugin* self) {
  if (self->gate < 0) {
    return true;
  }
  struct pollfd waited[2] = {{.fd = self->gate, .events = POLLIN},
                             {.fd = self->stop[0], .events = POLLIN}};
  while (poll(waited, 2, -1) < 0) {
  }
  char byte;
  return waited[1].revents == 0 && read(self->gate, &byte, 1) >= 0;
}

static void* work(void* argument) {
  gated_plugin* self = argument;
  pthread_mutex_lock(&self->mutex);
  while (true) {
    while (self->queued == 0 && !self->terminated) {
      pthread_cond_wait(&self->changed, &self->mutex);
    }
    if (self->terminated) {
      break;
    }
    kel_message message = self->queue[0];
    memmove(&self->queue[0], &self->queue[1], sizeof self->queue - sizeof self->queue[0]);
    --self->queued;
    self->busy = true;
    pthread_cond_broadcast(&self->changed);
    pthread_mutex_unlock(&self->mutex);
    if (pass_gate(self)) {
      self->batch(self->host_element, &message, &message + 1);
    }
    release_message(&message);
    pthread_mutex_lock(&self->mutex);
    self->busy = false;
    pthread_cond_broadcast(&self->changed);
  }
  pthread_mutex_unlock(&self->mutex);
  return NULL;
}

int32_t kel_plugin_api_version_HTTPClient(void) { return 4; }

const char* kel_plugin_product_version_HTTPClient(void) { return "gated"; }

void* kel_create_plugin_with_params_HTTPClient(const char* plugin_name, const char* chain_id,
                                               const kel_data* config, void* status_handle,
                                               void* host_handle) {
  (void)status_handle;
  char category[200];
  snprintf(category, sizeof category, "connectivity.%s.%s", plugin_name, chain_id);
  kel_log_at(category, 4, "created for %s at level %d", category, kel_get_log_level(category));
  gated_plugin* self = calloc(1, sizeof *self);
  const char* path = gate_path(config);
  self->gate = path == NULL ? -1 : open(path, O_RDONLY | O_CLOEXEC);
  if (self->gate < 0 && path != NULL) {
    free(self);
    return NULL;
  }
  if (pipe(self->stop) != 0) {
    free(self);
    return NULL;
  }
  pthread_mutex_init(&self->mutex, NULL);
  pthread_cond_init(&self->changed, NULL);
  self->host_handle = host_handle;
  return self;
}

int32_t kel_plugin_setNextTowardsHost_HTTPClient(void* plugin, void* host_element,
                                                 kel_batch_function batch) {
  gated_plugin* self = plugin;
  self->host_element = host_element;
  self->batch = batch;
  return 0;
}

int32_t kel_plugin_start_HTTPClient(void* plugin) {
  gated_plugin* self = plugin;
  self->started = pthread_create(&self->worker, NULL, &work, self) == 0;
  return self->started ? 0 : 1;
}

int32_t kel_plugin_hostReady_HTTPClient(void* plugin) {
  (void)plugin;
  return 0;
}

int32_t kel_plugin_sendBatchTowardsTransport_HTTPClient(void* plugin, kel_message* first,
                                                        kel_message* end) {
  gated_plugin* self = plugin;
  pthread_mutex_lock(&self->mutex);
  for (kel_message* message = first; message != end && !self->terminated; ++message) {
    if (self->queued == kCapacity && !self->has_logged) {
      self->has_logged = true;
      kel_log_at("connectivity.gated", 4, "%s", "waiting for room");
    }
    while (self->queued == kCapacity && !self->terminated) {
      pthread_cond_wait(&self->changed, &self->mutex);
    }
    if (!self->terminated) {
      self->queue[self->queued++] = *message;
      memset(message, 0, sizeof *message);
      pthread_cond_broadcast(&self->changed);
    }
  }
  pthread_mutex_unlock(&self->mutex);
  return 0;
}

static bool is_host_shutting_down(gated_plugin* self) {
  bool shutting_down = false;
  kel_is_host_shutting_down(self->host_handle, &shutting_down);
  return shutting_down;
}

int32_t kel_plugin_shutdown_HTTPClient(void* plugin) {
  gated_plugin* self = plugin;
  pthread_mutex_lock(&self->mutex);
  while ((self->queued > 0 || self->busy) && !is_host_shutting_down(self)) {
    struct timespec until;
    clock_gettime(CLOCK_REALTIME, &until);
    until.tv_nsec += kSliceMs * 1000000;
    until.tv_sec += until.tv_nsec / 1000000000;
    until.tv_nsec %= 1000000000;
    pthread_cond_timedwait(&self->changed, &self->mutex, &until);
  }
  self->terminated = true;
  pthread_cond_broadcast(&self->changed);
  pthread_mutex_unlock(&self->mutex);
  close(self->stop[1]);
  if (self->started) {
    pthread_join(self->worker, NULL);
  }
  return 0;
}

int32_t kel_destroy_plugin_HTTPClient(void* plugin) {
  gated_plugin* self = plugin;
  if (self == NULL) {
    return 0;
  }
  for (int index = 0; index < self->queued; ++index) {
    release_message(&self->queue[index]);
  }
  close(self->stop[0]);
  if (self->gate >= 0) {
    close(self->gate);
  }
  pthread_cond_destroy(&self->changed);
  pthread_mutex_destroy(&self->mutex);
  free(self);
  return 0;
}
