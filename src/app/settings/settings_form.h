// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#pragma once

#include <initializer_list>
#include <utility>

#include <QSettings>
#include <QString>
#include <QVariant>

class QComboBox;
class QFormLayout;
class QLabel;
class QWidget;

/// What the settings panes share: writing a setting, and labelled rows whose controls carry
/// their label's text as accessible name (a label's buddy is not announced by every screen
/// reader, so the name is set on the control itself).
namespace zemvar::app::detail {

/// Writes `value` under `key` and the settings file at once (its status tells of a failure).
void store(QSettings& settings, const QString& key, const QVariant& value);

/// Adds the row "`label`  `control`" to `form`.
void addLabelledRow(QFormLayout& form, const QString& label, QWidget* control);
/// Sets the text of `label` and the accessible name of the control it labels.
void setLabelText(QLabel& label, const QString& text);

/// How a text of the settings is coloured.
enum class Tone {
    plain,
    warning, ///< in the warning colour: something did not work
    accent,  ///< in the accent colour: a calculation's result
};

/// A wrapped line of explanation under a control.
QLabel* makeNote(QWidget* parent, Tone tone = Tone::plain);
/// Colours `label` in `tone` from now on (see applyTones()).
void setTone(QLabel& label, Tone tone);
/// Gives every label under `root` with a tone the colour of that tone for a light or `dark`
/// window: to be run whenever the window's appearance changes.
void applyTones(QWidget& root, bool dark);

/// A picker of the `items`, each a title shown and the value stored for it.
QComboBox* makePicker(std::initializer_list<std::pair<const char*, const char*>> items,
                      QWidget* parent);
/// Selects the item that stores `value`, or the first item when none does; without a signal.
void selectStoredValue(QComboBox& picker, const QString& value);

} // namespace zemvar::app::detail
