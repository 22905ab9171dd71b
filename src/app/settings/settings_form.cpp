// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#include "app/settings/settings_form.h"

#include "app/editor/editor_colors.h"
#include "app/editor/labelled_picker.h"

#include <algorithm>

#include <QComboBox>
#include <QFormLayout>
#include <QLabel>
#include <QSignalBlocker>

namespace zemvar::app::detail {

namespace {

const char* const toneProperty = "zemvarTone";

} // namespace

void store(QSettings& settings, const QString& key, const QVariant& value) {
    settings.setValue(key, value);
    settings.sync();
}

void addLabelledRow(QFormLayout& form, const QString& label, QWidget* control) {
    auto* title = new QLabel(label, control->parentWidget());
    title->setBuddy(control);
    control->setAccessibleName(label);
    form.addRow(title, control);
}

void setLabelText(QLabel& label, const QString& text) {
    label.setText(text);
    if (QWidget* control = label.buddy()) {
        control->setAccessibleName(text);
    }
}

QLabel* makeNote(QWidget* parent, Tone tone) {
    auto* note = new QLabel(parent);
    note->setWordWrap(true);
    note->setTextInteractionFlags(Qt::TextSelectableByMouse);
    setTone(*note, tone);
    return note;
}

void setTone(QLabel& label, Tone tone) {
    label.setProperty(toneProperty, static_cast<int>(tone));
}

void applyTones(QWidget& root, bool dark) {
    for (QLabel* label : root.findChildren<QLabel*>()) {
        QColor color;
        switch (static_cast<Tone>(label->property(toneProperty).toInt())) {
        case Tone::plain:
            continue;
        case Tone::warning:
            color = warningColor(dark);
            break;
        case Tone::accent:
            color = accentColor(dark);
            break;
        }
        // Only the text colour is the label's own; the rest follows the window.
        QPalette palette;
        palette.setColor(QPalette::WindowText, color);
        label->setPalette(palette);
    }
}

QComboBox* makePicker(std::initializer_list<std::pair<const char*, const char*>> items,
                      QWidget* parent) {
    auto* picker = new LabelledPicker(parent);
    for (const auto& [title, value] : items) {
        picker->addItem(QString::fromUtf8(title), QString::fromUtf8(value));
    }
    return picker;
}

void selectStoredValue(QComboBox& picker, const QString& value) {
    const QSignalBlocker blocker(picker);
    picker.setCurrentIndex(std::max(picker.findData(value), 0));
}

} // namespace zemvar::app::detail
