// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#include "app/editor/view_switches.h"

#include "app/editor/labelled_picker.h"

#include <utility>

#include <QButtonGroup>
#include <QHBoxLayout>
#include <QToolButton>

namespace zemvar::app {

QWidget* createPreviewSwitch(QWidget* parent, QButtonGroup*& buttons) {
    auto* view = new QWidget(parent);
    view->setObjectName(QStringLiteral("preview"));
    view->setAccessibleName(QStringLiteral("Markdown view"));
    view->setToolTip(
        QStringLiteral("Switch between editable Markdown source and formatted preview"));
    auto* segments = new QHBoxLayout(view);
    segments->setContentsMargins(0, 0, 0, 0);
    segments->setSpacing(0);
    buttons = new QButtonGroup(view);
    for (const auto& [title, id] : {std::pair{"Edit", 0}, {"Preview", 1}}) {
        auto* button = new QToolButton(view);
        button->setText(QString::fromLatin1(title));
        button->setObjectName(id == 0 ? QStringLiteral("preview-edit")
                                      : QStringLiteral("preview-show"));
        button->setCheckable(true);
        button->setAutoRaise(true);
        buttons->addButton(button, id);
        segments->addWidget(button);
    }
    return view;
}

LabelledPicker* createLanguagePicker(QWidget* parent) {
    auto* picker = new LabelledPicker(parent);
    picker->setObjectName(QStringLiteral("language"));
    picker->setAccessibleName(QStringLiteral("Language"));
    picker->setToolTip(QStringLiteral("Syntax highlighting language"));
    picker->setFocusPolicy(Qt::TabFocus);
    return picker;
}

} // namespace zemvar::app
