// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#pragma once

#include <QSettings>
#include <QWidget>

class QLabel;
class QPlainTextEdit;
class QPushButton;
class QRadioButton;

namespace zemvar::app {

class ZemvarSignals;

/// The window "Send Feedback": a message, whether it is an idea or a bug, a counter
/// "N/2000 characters" (UTF-16 code units of the trimmed message) and Send, which is enabled
/// for 1 to 2000 characters while nothing is being sent. Sent, the form closes and empties;
/// when delivery fails, the message stays with "Delivery could not be confirmed. ..." under
/// it. A build without a telemetry service says that it cannot send. Esc closes the window.
/// The controls are named "feedback-message", "feedback-idea", "feedback-bug",
/// "feedback-counter", "feedback-problem" and "feedback-send".
class NotesFeedbackForm : public QWidget {
    Q_OBJECT

public:
    /// `service` sends the reports; it and `settings` (for the appearance) must outlive the form.
    NotesFeedbackForm(ZemvarSignals& service, const QSettings& settings);

    /// Shows the window in front with the keyboard in the message, or brings it forward.
    void open();

    static constexpr int limit = 2000;

protected:
    void keyPressEvent(QKeyEvent* event) override;

private:
    void update();
    void send();

    ZemvarSignals& m_signals;
    const QSettings& m_settings;
    QPlainTextEdit* m_message = nullptr;
    QRadioButton* m_idea = nullptr;
    QRadioButton* m_bug = nullptr;
    QLabel* m_counter = nullptr;
    QLabel* m_problem = nullptr;
    QPushButton* m_send = nullptr;
    bool m_sending = false;
};

} // namespace zemvar::app
