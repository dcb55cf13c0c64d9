#include "report/thread_names.h"

#include "report/sql_rows.h"

namespace samplefold::report {

ThreadNames readThreadNames(rowvault1::IResult& result)
{
    ThreadNames names;
    visitRows(result, "SELECT thread, pid, tid, name FROM threads", [&](const auto& row) {
        names.insert_or_assign(rowKey(row[0]), ThreadName{row[1], row[2], row[3]});
    });
    return names;
}

} // namespace samplefold::report
