#pragma once

// The whole library in one include.
#include "compute_task_map.h"
#include "cpu_running_data.h"
#include "interval_tree.h"
#include "lbr_entry.h"
#include "lbr_info.h"
#include "loader_context.h"
#include "overtime_sample_aggregator.h"
#include "parallel_data_loading.h"
#include "process_in_container.h"
#include "sample_records.h"
#include "seg_inst_map.h"
#include "thread_state.h"
#include "time_converter.h"
#include "vm_aux_data.h"
