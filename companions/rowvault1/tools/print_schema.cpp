#include "schema_page.h"

#include <cstdio>

/// Writes the reference page of the result's tables to standard output.
int main()
{
    const std::string page = schemaPage();
    return std::fwrite(page.data(), 1, page.size(), stdout) == page.size() &&
                   std::fflush(stdout) == 0
               ? 0
               : 1;
}
