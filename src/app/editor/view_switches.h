// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#pragma once

class QButtonGroup;
class QWidget;

namespace zemvar::app {

class LabelledPicker;

/// The "Markdown view" switch under a note or an outside file: "Edit" and "Preview" buttons
/// (ids 0 and 1, none checked) side by side in one widget, owned by `parent`. `buttons` is set
/// to their group; connect to its idToggled, which assistive technology also reaches.
QWidget* createPreviewSwitch(QWidget* parent, QButtonGroup*& buttons);

/// The empty "Language" picker of code, owned by `parent`: reached by Tab, while a click opens
/// the list without taking the typing away from the text.
LabelledPicker* createLanguagePicker(QWidget* parent);

} // namespace zemvar::app
