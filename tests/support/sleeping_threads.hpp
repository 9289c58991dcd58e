#pragma once

/// Whether every thread of this process but the caller sleeps (proc(5), /proc/pid/task/tid/stat): nobody is
/// at work. One look is no proof, since a thread may have woken another behind it; two in a row nearly are.
bool other_threads_sleep();
