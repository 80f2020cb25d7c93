// sharedlib/platform/dialog.h: the modal box for errors and warnings.
#pragma once

namespace platform {

/// The picture in a box.
enum class DialogIcon { information, warning, error };

/// Shows `text` in a box with the title `caption` and one OK button, and returns when the user has closed it.
/// Without a display that answers, a program that can show a box, or memory for it, the text goes to standard error and
/// the call returns.
/// Bytes that are not UTF-8 appear as question marks. Any thread.
void showErrorDialog(char const* caption, char const* text, DialogIcon icon = DialogIcon::error);

} // namespace platform
