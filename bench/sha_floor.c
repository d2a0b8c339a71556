/* The floor of the duplicate comparison: reads and hashes exactly the bytes that the three
 * narrowing steps must, and nothing else. Files that share their size get SHA-256 of their first
 * 64 KiB; after one file per (device, inode) is kept, files whose size and head agree get SHA-256 of
 * the rest. Workers claim indexes from a shared counter; reads are pread into a 64 KiB buffer.
 * Usage: sha_floor [-j THREADS] LIST   (LIST: one path per line, e.g. from find -type f -size +Nc) */
#define _GNU_SOURCE
#include <fcntl.h>
#include <openssl/evp.h>
#include <pthread.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

enum { kBlock = 65536 };

struct file {
  char* path;
  uint64_t size, device, inode;
  unsigned char head[32], tail[32];
  int ok;
};

static struct file* files;
static size_t count;
static size_t* work; /* indexes into files for the current step */
static size_t work_count, next_work;
static int tail_step;
static uint64_t bytes_read;
static pthread_mutex_t lock = PTHREAD_MUTEX_INITIALIZER;

static int digest(const char* path, uint64_t from, uint64_t to, unsigned char out[32], struct stat* status) {
  const int fd = open(path, O_RDONLY | O_NOFOLLOW | O_CLOEXEC | O_NOATIME);
  if (fd < 0) return 0;
  if (fstat(fd, status) != 0) {
    close(fd);
    return 0;
  }
  unsigned char buffer[kBlock];
  EVP_MD_CTX* context = EVP_MD_CTX_new();
  EVP_DigestInit_ex(context, EVP_sha256(), NULL);
  uint64_t local = 0;
  int ok = 1;
  for (uint64_t at = from; at < to;) {
    const size_t want = to - at < kBlock ? (size_t)(to - at) : kBlock;
    const ssize_t got = pread(fd, buffer, want, (off_t)at);
    if (got <= 0) {
      ok = 0;
      break;
    }
    EVP_DigestUpdate(context, buffer, (size_t)got);
    at += (uint64_t)got;
    local += (uint64_t)got;
  }
  unsigned length = 0;
  EVP_DigestFinal_ex(context, out, &length);
  EVP_MD_CTX_free(context);
  close(fd);
  __atomic_add_fetch(&bytes_read, local, __ATOMIC_RELAXED);
  return ok;
}

static void* worker(void* unused) {
  (void)unused;
  for (;;) {
    pthread_mutex_lock(&lock);
    const size_t begin = next_work;
    next_work = begin + 32 < work_count ? begin + 32 : work_count;
    const size_t end = next_work;
    pthread_mutex_unlock(&lock);
    if (begin >= end) return NULL;
    for (size_t k = begin; k < end; ++k) {
      struct file* f = &files[work[k]];
      struct stat status = {0};
      if (!tail_step) {
        f->ok = digest(f->path, 0, f->size < kBlock ? f->size : kBlock, f->head, &status);
        f->device = status.st_dev;
        f->inode = status.st_ino;
      } else if (f->size > kBlock) {
        f->ok = digest(f->path, kBlock, f->size, f->tail, &status);
      }
    }
  }
}

static void run_step(int threads) {
  next_work = 0;
  pthread_t ids[64];
  for (int i = 0; i < threads; ++i) pthread_create(&ids[i], NULL, worker, NULL);
  for (int i = 0; i < threads; ++i) pthread_join(ids[i], NULL);
}

static int by_size(const void* a, const void* b) {
  const struct file *x = &files[*(const size_t*)a], *y = &files[*(const size_t*)b];
  return x->size < y->size ? -1 : x->size > y->size;
}
static int by_identity(const void* a, const void* b) {
  const struct file *x = &files[*(const size_t*)a], *y = &files[*(const size_t*)b];
  if (x->device != y->device) return x->device < y->device ? -1 : 1;
  if (x->inode != y->inode) return x->inode < y->inode ? -1 : 1;
  return *(const size_t*)a < *(const size_t*)b ? -1 : 1;
}
static int by_head(const void* a, const void* b) {
  const struct file *x = &files[*(const size_t*)a], *y = &files[*(const size_t*)b];
  if (x->size != y->size) return x->size < y->size ? -1 : 1;
  return memcmp(x->head, y->head, 32);
}
static int by_content(const void* a, const void* b) {
  const int head = by_head(a, b);
  if (head) return head;
  return memcmp(files[*(const size_t*)a].tail, files[*(const size_t*)b].tail, 32);
}

/* Keeps the members of runs of two or more equal elements of `work` under `compare`. */
static void keep_runs(int (*compare)(const void*, const void*)) {
  qsort(work, work_count, sizeof *work, compare);
  size_t kept = 0;
  for (size_t i = 0; i < work_count;) {
    size_t j = i + 1;
    while (j < work_count && compare(&work[i], &work[j]) == 0) ++j;
    if (j - i > 1)
      for (size_t k = i; k < j; ++k) work[kept++] = work[k];
    i = j;
  }
  work_count = kept;
}

int main(int argc, char** argv) {
  int threads = 2;
  int arg = 1;
  if (arg + 1 < argc && strcmp(argv[arg], "-j") == 0) {
    threads = atoi(argv[arg + 1]);
    arg += 2;
  }
  if (arg >= argc || threads < 1 || threads > 64) {
    fprintf(stderr, "usage: %s [-j THREADS] LIST\n", argv[0]);
    return 2;
  }
  FILE* list = fopen(argv[arg], "r");
  if (!list) {
    perror(argv[arg]);
    return 1;
  }
  size_t capacity = 0;
  char* line = NULL;
  size_t line_capacity = 0;
  ssize_t length;
  while ((length = getline(&line, &line_capacity, list)) > 0) {
    if (line[length - 1] == '\n') line[--length] = '\0';
    struct stat status;
    if (lstat(line, &status) != 0 || !S_ISREG(status.st_mode)) continue;
    if (count == capacity) {
      capacity = capacity ? capacity * 2 : 4096;
      files = realloc(files, capacity * sizeof *files);
    }
    files[count++] = (struct file){.path = strdup(line), .size = (uint64_t)status.st_size};
  }
  fclose(list);
  free(line);

  /* Size step. */
  work = malloc((count + 1) * sizeof *work);
  for (size_t i = 0; i < count; ++i) work[i] = i;
  work_count = count;
  keep_runs(by_size);
  /* Head step, then one file per (device, inode). */
  run_step(threads);
  size_t kept = 0;
  for (size_t i = 0; i < work_count; ++i)
    if (files[work[i]].ok) work[kept++] = work[i];
  work_count = kept;
  qsort(work, work_count, sizeof *work, by_identity);
  kept = 0;
  for (size_t i = 0; i < work_count; ++i) {
    const struct file* f = &files[work[i]];
    if (kept == 0 || f->device != files[work[kept - 1]].device || f->inode != files[work[kept - 1]].inode)
      work[kept++] = work[i];
  }
  work_count = kept;
  keep_runs(by_head);
  /* Tail step. */
  tail_step = 1;
  run_step(threads);
  kept = 0;
  for (size_t i = 0; i < work_count; ++i)
    if (files[work[i]].ok) work[kept++] = work[i];
  work_count = kept;
  keep_runs(by_content);

  size_t groups = 0;
  for (size_t i = 0; i < work_count; ++i)
    if (i == 0 || by_content(&work[i - 1], &work[i]) != 0) ++groups;
  printf("%zu groups, %zu files in groups, %llu bytes hashed, %zu files listed\n", groups, work_count,
         (unsigned long long)bytes_read, count);
  return 0;
}
