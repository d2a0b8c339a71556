/* Writes a reproducible tree of large files for the duplicate-finder benchmark: unique files, sets
 * of real copies scattered over folders, same-size files that differ in the first 64 KiB or only
 * after it, and hard links (which are not copies). Never commit the output.
 * Usage: make_dupes_corpus DIR [MEGABYTES] [SEED] */
#define _GNU_SOURCE
#include <errno.h>
#include <fcntl.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

enum { kFolders = 24, kMinSize = 200 * 1000 };

static uint64_t state;
static uint64_t next_random(void) {
  uint64_t z = (state += 0x9E3779B97F4A7C15ull);
  z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9ull;
  z = (z ^ (z >> 27)) * 0x94D049BB133111EBull;
  return z ^ (z >> 31);
}

static const char* root;
static long files, sets, links;
static uint64_t bytes_written;
static unsigned char* buffer;

static void fill_random(size_t size) {
  for (size_t i = 0; i + 8 <= size; i += 8) {
    const uint64_t r = next_random();
    memcpy(buffer + i, &r, 8);
  }
  for (size_t i = size & ~(size_t)7; i < size; ++i) buffer[i] = (unsigned char)next_random();
}

static void path_for(char* path, size_t capacity, const char* kind, long number) {
  snprintf(path, capacity, "%s/f%02d/%s-%ld.bin", root, (int)(next_random() % kFolders), kind, number);
}

static void write_file(const char* path, size_t size) {
  const int fd = open(path, O_CREAT | O_WRONLY | O_TRUNC | O_CLOEXEC, 0644);
  if (fd < 0 || write(fd, buffer, size) != (ssize_t)size) {
    perror(path);
    exit(1);
  }
  close(fd);
  files++;
  bytes_written += size;
}

/* Sizes from 200 kB to about 12 MB, skewed towards the small end like real media folders. */
static size_t random_size(void) {
  const uint64_t r = next_random() % 1000;
  return kMinSize + (size_t)((r * r * 12) + next_random() % 1000);
}

int main(int argc, char** argv) {
  if (argc < 2) {
    fprintf(stderr, "usage: %s DIR [MEGABYTES] [SEED]\n", argv[0]);
    return 2;
  }
  root = argv[1];
  const uint64_t budget = (argc > 2 ? strtoull(argv[2], NULL, 10) : 2000) * 1000 * 1000;
  state = argc > 3 ? strtoull(argv[3], NULL, 10) : 7;
  buffer = malloc(64u << 20);
  if (!buffer) return 1;
  char path[4096];
  if (mkdir(root, 0755) != 0 && errno != EEXIST) {
    perror(root);
    return 1;
  }
  for (int i = 0; i < kFolders; ++i) {
    snprintf(path, sizeof path, "%s/f%02d", root, i);
    if (mkdir(path, 0755) != 0 && errno != EEXIST) {
      perror(path);
      return 1;
    }
  }
  /* A few very large copies (64 MB) first, then rounds of the ordinary mix until the budget. */
  for (int i = 0; i < 2; ++i, ++sets) {
    fill_random(64u << 20);
    for (int copy = 0; copy < 2; ++copy) {
      path_for(path, sizeof path, "disk", sets * 10 + copy);
      write_file(path, 64u << 20);
    }
  }
  for (long round = 0; bytes_written < budget; ++round) {
    /* Unique files: one written, mostly of a size no other file has. */
    size_t size = random_size();
    fill_random(size);
    path_for(path, sizeof path, "unique", round);
    write_file(path, size);
    if (round % 2 == 0) {
      /* A set of 2 to 5 copies. */
      size = random_size();
      fill_random(size);
      const int copies = 2 + (int)(next_random() % 4);
      for (int copy = 0; copy < copies; ++copy) {
        path_for(path, sizeof path, "copy", round * 10 + copy);
        write_file(path, size);
      }
      sets++;
      if (round % 10 == 0) { /* a hard link to the last copy: the same file, not another copy */
        char again[4096];
        path_for(again, sizeof again, "link", round);
        if (link(path, again) == 0) links++;
      }
    }
    if (round % 5 == 1) {
      /* Same size, different first 64 KiB: told apart by the head digest. */
      size = random_size();
      fill_random(size);
      path_for(path, sizeof path, "headdiff", round * 10);
      write_file(path, size);
      buffer[100] ^= 0xFF;
      path_for(path, sizeof path, "headdiff", round * 10 + 1);
      write_file(path, size);
    }
    if (round % 5 == 3) {
      /* Same size and head, different last byte: only the tail digest tells them apart. */
      size = random_size();
      fill_random(size);
      path_for(path, sizeof path, "taildiff", round * 10);
      write_file(path, size);
      buffer[size - 1] ^= 0xFF;
      path_for(path, sizeof path, "taildiff", round * 10 + 1);
      write_file(path, size);
    }
  }
  printf("%ld files, %ld sets of copies, %ld hard links, %.1f MB in %s\n", files, sets, links,
         (double)bytes_written / 1e6, root);
  free(buffer);
  return 0;
}
