#include "failure_text.h"

#include <sqlite3.h>

#include <algorithm>

namespace rowvault1 {
namespace {

std::string_view remedyOf(int code)
{
    switch (code & 0xff) {
    case SQLITE_FULL:
        return "make room on the disk and load again";
    case SQLITE_IOERR:
        return "check the disk and its limits, then load again";
    case SQLITE_CANTOPEN:
    case SQLITE_PERM:
    case SQLITE_READONLY:
        return "check the permissions of the folder";
    case SQLITE_BUSY:
    case SQLITE_LOCKED:
        return "another process uses it, wait until it has ended";
    case SQLITE_NOTADB:
        return "the file is no result, choose another folder";
    case SQLITE_CORRUPT:
        return "the file is damaged, load again into a new folder";
    case SQLITE_NOMEM:
        return "free some memory and load again";
    default:
        return "load again into a new folder";
    }
}

std::string oneLine(std::string_view text)
{
    std::string line(text);
    std::ranges::replace(line, '\n', ' ');
    return line;
}

} // namespace

std::string failureText(std::string_view action, std::string_view path, std::string_view reason,
                        std::string_view remedy)
{
    std::string text = "cannot ";
    text.append(action).append(" '").append(path).append("': ").append(reason);
    if (!remedy.empty()) text.append("; ").append(remedy);
    return oneLine(text);
}

std::string failureText(std::string_view action, std::string_view path, const SqlError& error)
{
    return failureText(action, path, error.what(), remedyOf(error.code()));
}

} // namespace rowvault1
