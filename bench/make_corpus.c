/* Writes a reproducible benchmark tree: N regular files spread over nested folders with a fixed
 * pseudo-random shape (same seed, same tree), some symbolic links and hard links. Never commit the
 * output. Usage: make_corpus DIR [FILES] [SEED] */
#define _GNU_SOURCE
#include <errno.h>
#include <fcntl.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

static uint64_t state;

static uint64_t next_random(void) {
  /* splitmix64: tiny, fast and the same everywhere */
  uint64_t z = (state += 0x9E3779B97F4A7C15ull);
  z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ull;
  z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
  return z ^ (z >> 31);
}

static long files_left;
static long files_written, dirs_written, links_written;
static char payload[65536];

static void make_file(const char* path) {
  int fd = open(path, O_CREAT | O_WRONLY | O_TRUNC | O_CLOEXEC, 0644);
  if (fd < 0) {
    perror(path);
    exit(1);
  }
  /* Mostly small files, a few larger ones; about one in five empty. */
  uint64_t r = next_random() % 100;
  size_t size = r < 20 ? 0 : r < 90 ? (size_t)(next_random() % 4000) : (size_t)(next_random() % sizeof payload);
  if (size > 0 && write(fd, payload, size) != (ssize_t)size) {
    perror(path);
    exit(1);
  }
  close(fd);
  files_written++;
}

static void fill(const char* dir, int level) {
  if (mkdir(dir, 0755) != 0 && errno != EEXIST) {
    perror(dir);
    exit(1);
  }
  dirs_written++;
  char path[4096];
  /* Files directly here: a handful near the top, more in the leaves. */
  long here = level < 2 ? 4 : (long)(8 + next_random() % 40);
  for (long i = 0; i < here && files_left > 0; ++i, --files_left) {
    snprintf(path, sizeof path, "%s/file%ld.dat", dir, i);
    make_file(path);
  }
  if (level >= 2 && next_random() % 10 == 0) {
    snprintf(path, sizeof path, "%s/link", dir);
    if (symlink("file0.dat", path) == 0) links_written++;
    char again[4096];
    snprintf(again, sizeof again, "%s/hardlink.dat", dir);
    snprintf(path, sizeof path, "%s/file0.dat", dir);
    if (link(path, again) == 0) links_written++;
  }
  if (level >= 6) return;
  int children = level == 0 ? 10 : (int)(3 + next_random() % 6);
  for (int c = 0; c < children && files_left > 0; ++c) {
    snprintf(path, sizeof path, "%s/dir%d", dir, c);
    fill(path, level + 1);
  }
}

int main(int argc, char** argv) {
  if (argc < 2) {
    fprintf(stderr, "usage: %s DIR [FILES] [SEED]\n", argv[0]);
    return 2;
  }
  files_left = argc > 2 ? atol(argv[2]) : 1000000;
  state = argc > 3 ? strtoull(argv[3], NULL, 10) : 42;
  memset(payload, 'x', sizeof payload);
  const long wanted = files_left;
  /* Rounds of top-level trees until the wanted number of files exists. */
  if (mkdir(argv[1], 0755) != 0 && errno != EEXIST) {
    perror(argv[1]);
    return 1;
  }
  char top[4096];
  for (int round = 0; files_left > 0; ++round) {
    snprintf(top, sizeof top, "%s/tree%d", argv[1], round);
    fill(top, 0);
  }
  printf("%ld files, %ld folders, %ld links (asked for %ld) in %s\n", files_written, dirs_written, links_written,
         wanted, argv[1]);
  return 0;
}
