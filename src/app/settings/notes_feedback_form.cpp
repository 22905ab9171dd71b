// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#include "app/settings/notes_feedback_form.h"

#include "app/editor/editor_colors.h"
#include "app/model/app_settings.h"
#include "app/settings/settings_form.h"
#include "app/shell/zemvar_signals.h"

#include <QDialogButtonBox>
#include <QFutureWatcher>
#include <QHBoxLayout>
#include <QKeyEvent>
#include <QLabel>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QRadioButton>
#include <QVBoxLayout>

namespace zemvar::app {

NotesFeedbackForm::NotesFeedbackForm(ZemvarSignals& service, const QSettings& settings)
    : QWidget(nullptr, Qt::Window | Qt::WindowStaysOnTopHint)
    , m_signals(service)
    , m_settings(settings) {
    setObjectName(QStringLiteral("feedback-form"));
    setWindowTitle(QStringLiteral("Send Feedback"));

    auto* title = new QLabel(QStringLiteral("Message"), this);
    m_message = new QPlainTextEdit(this);
    m_message->setObjectName(QStringLiteral("feedback-message"));
    m_message->setTabChangesFocus(true);
    title->setBuddy(m_message);
    m_message->setAccessibleName(title->text());
    m_idea = new QRadioButton(QStringLiteral("Idea"), this);
    m_idea->setObjectName(QStringLiteral("feedback-idea"));
    m_idea->setChecked(true);
    m_bug = new QRadioButton(QStringLiteral("Bug"), this);
    m_bug->setObjectName(QStringLiteral("feedback-bug"));
    m_counter = new QLabel(this);
    m_counter->setObjectName(QStringLiteral("feedback-counter"));
    m_problem = detail::makeNote(this, detail::Tone::warning);
    m_problem->setObjectName(QStringLiteral("feedback-problem"));

    auto* buttons = new QDialogButtonBox(this);
    buttons->addButton(QDialogButtonBox::Cancel);
    m_send = buttons->addButton(QStringLiteral("Send"), QDialogButtonBox::AcceptRole);
    m_send->setObjectName(QStringLiteral("feedback-send"));
    m_send->setDefault(true);
    connect(buttons, &QDialogButtonBox::rejected, this, &QWidget::close);
    connect(m_send, &QPushButton::clicked, this, &NotesFeedbackForm::send);
    connect(m_message, &QPlainTextEdit::textChanged, this, &NotesFeedbackForm::update);

    auto* kind = new QHBoxLayout;
    kind->addWidget(m_idea);
    kind->addWidget(m_bug);
    kind->addStretch(1);
    kind->addWidget(m_counter);
    auto* layout = new QVBoxLayout(this);
    layout->addWidget(title);
    layout->addWidget(m_message, 1);
    layout->addLayout(kind);
    layout->addWidget(m_problem);
    layout->addWidget(buttons);
    if (!m_signals.isConfigured()) {
        m_problem->setText(QStringLiteral(
            "This copy of Zemvar Notes has no feedback service configured, so it cannot send "
            "your message."));
    }
    update();
    resize(QSize(440, 300));
}

void NotesFeedbackForm::open() {
    setPalette(appearancePalette(m_settings.value(settings::appearance).toString()));
    detail::applyTones(*this, isDarkPalette(palette()));
    show();
    raise();
    activateWindow();
    m_message->setFocus();
}

void NotesFeedbackForm::update() {
    // Counted as the service counts: UTF-16 code units, without the white space around.
    const qsizetype length = m_message->toPlainText().trimmed().size();
    m_counter->setText(QString::number(length) + QStringLiteral("/") + QString::number(limit) +
                       QStringLiteral(" characters"));
    m_send->setEnabled(m_signals.isConfigured() && !m_sending && length > 0 && length <= limit);
    m_problem->setVisible(!m_problem->text().isEmpty());
}

void NotesFeedbackForm::send() {
    if (!m_send->isEnabled()) {
        return;
    }
    m_sending = true;
    m_problem->clear();
    update();
    auto* watcher = new QFutureWatcher<bool>(this);
    connect(watcher, &QFutureWatcher<bool>::finished, this, [this, watcher] {
        watcher->deleteLater();
        m_sending = false;
        if (watcher->result()) {
            m_message->clear();
            close();
        } else {
            m_problem->setText(
                QStringLiteral("Delivery could not be confirmed. Your message is preserved; "
                               "retrying may duplicate a report."));
        }
        update();
    });
    watcher->setFuture(m_signals.sendFeedback(m_message->toPlainText(), m_bug->isChecked()));
}

void NotesFeedbackForm::keyPressEvent(QKeyEvent* event) {
    if (event->key() == Qt::Key_Escape && event->modifiers() == Qt::NoModifier) {
        close();
        return;
    }
    QWidget::keyPressEvent(event);
}

} // namespace zemvar::app
