/* The floor of a disk-usage walk on Linux: only the system calls the space lens makes, nothing
 * else. Workers share a stack of folder paths; each folder is opened (O_NOFOLLOW|O_DIRECTORY), its
 * device read from the descriptor, its entries read with getdents64 into one 64 KiB buffer, and
 * each regular file stat-ed with statx relative to the folder's descriptor.
 * Usage: lens_floor [-j THREADS] DIR */
#define _GNU_SOURCE
#include <dirent.h>
#include <fcntl.h>
#include <pthread.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

struct dirent64_header {
  uint64_t ino;
  int64_t off;
  unsigned short reclen;
  unsigned char type;
};

static pthread_mutex_t lock = PTHREAD_MUTEX_INITIALIZER;
static pthread_cond_t wake = PTHREAD_COND_INITIALIZER;
static char** stack;
static size_t stack_size, stack_capacity;
static int active;
static uint64_t total_bytes, total_entries, total_files;

static void push_locked(char* path) {
  if (stack_size == stack_capacity) {
    stack_capacity = stack_capacity ? stack_capacity * 2 : 1024;
    stack = realloc(stack, stack_capacity * sizeof *stack);
    if (!stack) abort();
  }
  stack[stack_size++] = path;
}

static char* next_job(void) {
  pthread_mutex_lock(&lock);
  for (;;) {
    if (stack_size > 0) {
      char* path = stack[--stack_size];
      active++;
      pthread_mutex_unlock(&lock);
      return path;
    }
    if (active == 0) {
      pthread_cond_broadcast(&wake);
      pthread_mutex_unlock(&lock);
      return NULL;
    }
    pthread_cond_wait(&wake, &lock);
  }
}

static void walk_one(char* path) {
  uint64_t bytes = 0, entries = 0, files = 0;
  char** children = NULL;
  size_t child_count = 0, child_capacity = 0;
  int fd = open(path, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
  if (fd >= 0) {
    struct statx self;
    (void)statx(fd, "", AT_EMPTY_PATH, STATX_TYPE, &self);
    char* buffer = malloc(65536);
    long n;
    size_t path_length = strlen(path);
    while ((n = syscall(SYS_getdents64, fd, buffer, 65536)) > 0) {
      for (long off = 0; off < n;) {
        struct dirent64_header* d = (struct dirent64_header*)(buffer + off);
        const char* name = buffer + off + 19;
        off += d->reclen;
        if (name[0] == '.' && (name[1] == 0 || (name[1] == '.' && name[2] == 0))) continue;
        entries++;
        if (d->type == DT_REG) {
          struct statx st;
          if (statx(fd, name, AT_SYMLINK_NOFOLLOW | AT_NO_AUTOMOUNT, STATX_TYPE | STATX_SIZE | STATX_BLOCKS, &st) ==
              0) {
            uint64_t allocated = st.stx_blocks * 512;
            bytes += allocated < st.stx_size ? allocated : st.stx_size;
            files++;
          }
        } else if (d->type == DT_DIR) {
          size_t name_length = strlen(name);
          char* child = malloc(path_length + name_length + 2);
          memcpy(child, path, path_length);
          child[path_length] = '/';
          memcpy(child + path_length + 1, name, name_length + 1);
          if (child_count == child_capacity) {
            child_capacity = child_capacity ? child_capacity * 2 : 16;
            children = realloc(children, child_capacity * sizeof *children);
          }
          children[child_count++] = child;
        }
      }
    }
    free(buffer);
    close(fd);
  }
  pthread_mutex_lock(&lock);
  total_bytes += bytes;
  total_entries += entries;
  total_files += files;
  for (size_t i = 0; i < child_count; ++i) push_locked(children[i]);
  active--;
  if (child_count > 0 || (active == 0 && stack_size == 0)) pthread_cond_broadcast(&wake);
  pthread_mutex_unlock(&lock);
  free(children);
  free(path);
}

static void* worker(void* unused) {
  (void)unused;
  char* path;
  while ((path = next_job()) != NULL) walk_one(path);
  return NULL;
}

int main(int argc, char** argv) {
  int threads = 1;
  int opt;
  while ((opt = getopt(argc, argv, "j:")) != -1) {
    if (opt == 'j') threads = atoi(optarg);
  }
  if (optind >= argc || threads < 1) {
    fprintf(stderr, "usage: %s [-j THREADS] DIR\n", argv[0]);
    return 2;
  }
  push_locked(strdup(argv[optind]));
  pthread_t* ids = calloc((size_t)threads, sizeof *ids);
  for (int i = 0; i < threads; ++i) pthread_create(&ids[i], NULL, worker, NULL);
  for (int i = 0; i < threads; ++i) pthread_join(ids[i], NULL);
  printf("%llu bytes, %llu entries, %llu files\n", (unsigned long long)total_bytes, (unsigned long long)total_entries,
         (unsigned long long)total_files);
  return 0;
}
