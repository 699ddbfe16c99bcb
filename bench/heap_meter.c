/* Preloaded, counts the bytes of the heap that a program holds. At its end, the file that
 * HEAP_METER_FILE names has one line: the most that was held at any moment, and what still is. */
#include <errno.h>
#include <malloc.h>
#include <stdatomic.h>
#include <stddef.h>
#include <stdio.h>
#include <stdlib.h>

extern void* __libc_malloc(size_t size);
extern void* __libc_calloc(size_t count, size_t size);
extern void* __libc_realloc(void* memory, size_t size);
extern void* __libc_memalign(size_t alignment, size_t size);
extern void __libc_free(void* memory);

static atomic_size_t held;
static atomic_size_t peak;

static void* counted(void* memory) {
  if (memory == NULL) return NULL;
  const size_t size = malloc_usable_size(memory);
  const size_t now = atomic_fetch_add(&held, size) + size;
  size_t most = atomic_load(&peak);
  while (now > most && !atomic_compare_exchange_weak(&peak, &most, now)) {
  }
  return memory;
}

static void forget(void* memory) {
  if (memory != NULL) atomic_fetch_sub(&held, malloc_usable_size(memory));
}

void* malloc(size_t size) {
  return counted(__libc_malloc(size));
}

void* calloc(size_t count, size_t size) {
  return counted(__libc_calloc(count, size));
}

void* realloc(void* memory, size_t size) {
  forget(memory);
  void* moved = __libc_realloc(memory, size);
  /* What could not grow is still there. */
  if (moved == NULL && size != 0) counted(memory);
  return counted(moved);
}

void* memalign(size_t alignment, size_t size) {
  return counted(__libc_memalign(alignment, size));
}

void* aligned_alloc(size_t alignment, size_t size) {
  return counted(__libc_memalign(alignment, size));
}

int posix_memalign(void** memory, size_t alignment, size_t size) {
  *memory = counted(__libc_memalign(alignment, size));
  return *memory != NULL ? 0 : ENOMEM;
}

void free(void* memory) {
  forget(memory);
  __libc_free(memory);
}

__attribute__((destructor)) static void report(void) {
  const char* name = getenv("HEAP_METER_FILE");
  const size_t most = atomic_load(&peak);
  const size_t last = atomic_load(&held);
  FILE* file = name != NULL ? fopen(name, "w") : NULL;
  if (file == NULL) return;
  fprintf(file, "%zu %zu\n", most, last);
  fclose(file);
}
