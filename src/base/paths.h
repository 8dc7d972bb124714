// Paths of the installation directory, formed from the working directory at the moment
// of use. The server never creates a directory.
#pragma once

// What the server reads and writes below it.
inline constexpr char SETTINGS_FILE[] = "data/raw/qlnxserver.dat";
inline constexpr char USERS_FILE[] = "DATA/RAW/TSUSERS.DAT";
inline constexpr char DOMAINS_FILE[] = "DATA/RAW/DOMAIN.DAT";
inline constexpr char ACCEPTED_FILE[] = "DATA/RAW/VALIDIPADDRESSES.TXT";
inline constexpr char BANNED_FILE[] = "DATA/RAW/BADSMTPIPADDRESS.TXT";
inline constexpr char LOGINS_FILE[] = "DATA/RAW/SMTPLOGINS.DAT";
inline constexpr char LOG_FILE[] = "LOGS/QLNSMTP.TXT";
inline constexpr char TRIM_FILE[] = "LOG/LOG.TMP"; // the log while it is trimmed

inline constexpr int DIRECTORY_SIZE = 256; // the longest working directory, with its NUL
inline constexpr int PATH_SIZE = DIRECTORY_SIZE + 64; // and any fixed path below it

// The working directory, a separator unless it ends in one, and `tail`. False, with an
// empty path, when that does not fit.
bool path_below(char *path, int size, const char *tail);

// A path with `/` between all its names, which can be pasted into a shell.
struct ShellPath {
    char text[PATH_SIZE];
};
ShellPath shell_path(const char *path);

// 1 if a directory entry of that name exists, file or directory, else 0.
int does_file_exist(const char *path);
