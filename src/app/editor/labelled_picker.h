// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#pragma once

#include <QComboBox>

namespace zemvar::app {

/// A picker (combo box) that screen readers announce by its label: its accessible name is
/// accessibleName() (else the text of the label whose buddy it is) and the chosen item is its
/// value. A plain QComboBox on Linux announces the chosen item as its name and drops the
/// accessible name set on it.
class LabelledPicker : public QComboBox {
    Q_OBJECT

public:
    explicit LabelledPicker(QWidget* parent = nullptr);
};

} // namespace zemvar::app
