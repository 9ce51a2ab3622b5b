// Whether a folder listing's entry is itself a folder.
#ifndef OSTREL_HOST_SRC_FOLDERENTRY_POSIX_H_
#define OSTREL_HOST_SRC_FOLDERENTRY_POSIX_H_

#include <dirent.h>
#include <sys/stat.h>

namespace OstrelHost {

// The listing's type is trusted when it has one; some file systems leave it
// unknown, and then the entry itself is asked.
inline bool IsFolderEntry(int folderFd, const char* name, unsigned char type) {
  if (type != DT_UNKNOWN) return type == DT_DIR;
  struct stat info {};
  return ::fstatat(folderFd, name, &info, 0) == 0 && S_ISDIR(info.st_mode);
}

}  // namespace OstrelHost

#endif  // OSTREL_HOST_SRC_FOLDERENTRY_POSIX_H_
