#pragma once

/// Prints as Markdown, for each kind of fault and each family, how long the way back takes beside the fixed
/// waits on it. False when a run fell short (told on standard error).
bool print_recovery();
