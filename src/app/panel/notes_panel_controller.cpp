// SPDX-License-Identifier: MIT
// Copyright (c) 2026 The Zemvar Notes authors
#include "app/panel/notes_panel_controller.h"

#include "app/documents/notes_export_sheet.h"
#include "app/editor/note_editor_view.h"
#include "app/model/app_settings.h"
#include "app/model/notes_model.h"
#include "app/model/qt_text.h"
#include "app/panel/notes_panel.h"
#include "app/panel/notes_root_view.h"
#include "app/panel/panel_background.h"
#include "app/platform/window_hints.h"
#include "core/notes/library_path.h"
#include "core/notes/note_export.h"

#include <exception>

#include <QApplication>
#include <QCursor>
#include <QGuiApplication>
#include <QKeyEvent>
#include <QLineEdit>
#include <QMessageBox>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QScreen>
#include <QTimer>
#include <QWindow>

namespace zemvar::app {
namespace {

// Gives `window` the frame `frame`; where the compositor places windows, only its size.
void setFrame(QWidget& window, const QRect& frame) {
    if (platform::appPlacesWindows()) {
        window.setGeometry(frame);
    } else {
        window.resize(frame.size());
    }
}

} // namespace

NotesPanelController::NotesPanelController(NotesModel& model, QSettings& settings,
                                           NotesRootView* content, QString libraryFolder,
                                           QObject* parent)
    : QObject(parent)
    , m_model(model)
    , m_settings(settings)
    , m_content(content)
    , m_panel(new NotesPanel(content, new PanelBackground(settings, libraryFolder)))
    , m_libraryFolder(std::move(libraryFolder))
    , m_focusBackdrop(settings, m_libraryFolder) {
    QPointer<NotesPanelController> self(this);
    m_model.toggleFocus = [self] {
        if (self) {
            self->toggleFocus();
        }
    };
    m_model.requestEditorFocus = [self] {
        if (self) {
            self->focusEditor();
        }
    };
    m_model.toggleExpanded = [self] {
        if (self) {
            self->toggleExpanded();
        }
    };
    m_model.requestDelete = [self] {
        if (self) {
            self->confirmDelete();
        }
    };
    m_model.requestExport = [self] {
        if (self) {
            self->exportNote();
        }
    };
    // Closing the notes list hands the typing back to the note.
    connect(&m_model, &NotesModel::sidebarVisibleChanged, this, [this](bool visible) {
        if (!visible && m_panel->isVisible()) {
            focusEditor();
        }
    });
    connect(m_panel, &NotesPanel::closeRequested, this, &NotesPanelController::hide);
    connect(qApp, &QGuiApplication::focusWindowChanged, this, [self] {
        // Decided on the next turn, when the window that took the focus is known.
        QTimer::singleShot(0, self, [self] {
            if (self) {
                self->panelActivationChanged();
            }
        });
    });
    m_panel->installEventFilter(this);
    restoreFrame();
    m_content->setDarkBackdrop(m_panel->background()->preferences().isDarkWhateverTheAppearance());
}

NotesPanelController::~NotesPanelController() {
    qApp->removeEventFilter(this);
    delete m_panel;
}

void NotesPanelController::restoreFrame() {
    if (m_panel->restoreGeometry(m_settings.value(settings::panelGeometry).toByteArray())) {
        return;
    }
    // First launch: centre the panel on the screen under the pointer; where the compositor
    // places windows, it chooses.
    if (!platform::appPlacesWindows()) {
        return;
    }
    QScreen* screen = QGuiApplication::screenAt(QCursor::pos());
    if (screen == nullptr) {
        screen = QGuiApplication::primaryScreen();
    }
    if (screen != nullptr) {
        const QRect visible = screen->availableGeometry();
        m_panel->move(visible.center().x() - m_panel->width() / 2,
                      visible.center().y() - m_panel->height() / 2);
    }
}

void NotesPanelController::saveFrame() {
    // The expanded frame is never remembered: the next launch starts compact.
    if (!m_model.expanded()) {
        m_settings.setValue(settings::panelGeometry, m_panel->saveGeometry());
    }
}

void NotesPanelController::show() {
    if (beforeShow) {
        beforeShow();
    }
    m_panel->show();
    m_panel->raise();
    m_panel->activateWindow();
    // Shown again before the desktop reported that it lost the focus (a quick double press of
    // the shortcut), the panel is still the focus window, so no activation follows: take it.
    if (QGuiApplication::focusWindow() == m_panel->windowHandle() &&
        QApplication::activeWindow() != m_panel) {
        QApplication::setActiveWindow(m_panel);
    }
    restoreFocus();
    if (!m_routingKeys) {
        qApp->installEventFilter(this);
        m_routingKeys = true;
    }
    if (onVisibilityChange) {
        onVisibilityChange(m_panel->isVisible());
    }
    QTimer::singleShot(0, this, &NotesPanelController::focusEditor);
}

void NotesPanelController::hide() {
    // A sheet belongs to the panel: hidden with it, it is cancelled, never left to be answered
    // unseen.
    if (QDialog* sheet = openSheet()) {
        sheet->reject();
    }
    endFocusBackdrop();
    m_model.flush();
    if (m_routingKeys) {
        qApp->removeEventFilter(this);
        m_routingKeys = false;
    }
    saveFrame();
    m_panel->hide();
    if (onVisibilityChange) {
        onVisibilityChange(m_panel->isVisible());
    }
}

void NotesPanelController::hideIfUnpinned() {
    endFocusBackdrop();
    if (!m_model.pinned() && m_panel->isVisible()) {
        hide();
    }
}

void NotesPanelController::panelActivationChanged() {
    if (!m_panel->isVisible()) {
        return;
    }
    if (m_panel->isActiveWindow()) {
        restoreFocus();
        return;
    }
    if (openSheet() != nullptr) {
        return;
    }
    endFocusBackdrop();
    if (m_model.pinned()) {
        return;
    }
    // Another window of this program (settings, an outside file) keeps the panel up; clicking
    // into another program or the desktop hides it.
    if (QApplication::activeWindow() == nullptr) {
        hide();
    }
}

void NotesPanelController::toggleExpanded() {
    if (!m_model.expanded()) {
        m_compactFrame = m_panel->geometry();
        saveFrame();
        // Expanded first, so that the frame changes below are not remembered.
        m_model.setExpanded(true);
        QScreen* screen =
            m_panel->screen() != nullptr ? m_panel->screen() : QGuiApplication::primaryScreen();
        if (screen != nullptr) {
            setFrame(*m_panel, screen->availableGeometry());
        }
    } else {
        if (m_compactFrame) {
            setFrame(*m_panel, *m_compactFrame);
        }
        m_model.setExpanded(false);
    }
    focusEditor();
}

void NotesPanelController::toggleFocus() {
    if (!m_model.focusEnabled() && !NotesFocusBackdrop::isAvailable()) {
        m_model.appendBannerMessage(NotesFocusBackdrop::unavailableReason());
        return;
    }
    m_model.setFocusEnabled(!m_model.focusEnabled());
    if (!m_model.focusEnabled()) {
        endFocusBackdrop();
    }
    if (!m_panel->isVisible()) {
        show();
        return;
    }
    restoreFocus();
    m_panel->raise();
    m_panel->activateWindow();
    focusEditor();
}

void NotesPanelController::restoreFocus() {
    if (!m_model.focusEnabled() || m_model.focusActive() || !NotesFocusBackdrop::isAvailable()) {
        return;
    }
    m_model.setFocusActive(true);
    QPointer<NotesPanelController> self(this);
    m_focusBackdrop.show(m_panel, [self] {
        if (self) {
            self->leaveFocusMode();
        }
    });
}

void NotesPanelController::endFocusBackdrop() {
    m_focusBackdrop.hide();
    m_model.setFocusActive(false);
}

void NotesPanelController::leaveFocusMode() {
    m_model.setFocusEnabled(false);
    endFocusBackdrop();
}

void NotesPanelController::applySettings() {
    m_panel->background()->refresh();
    m_content->setDarkBackdrop(m_panel->background()->preferences().isDarkWhateverTheAppearance());
    m_content->applySettings();
    m_focusBackdrop.refresh();
}

void NotesPanelController::focusEditor() {
    if (QPlainTextEdit* text = m_content->editor()->textView();
        text != nullptr && text->isVisible() && openSheet() == nullptr) {
        text->setFocus(Qt::OtherFocusReason);
    }
}

QDialog* NotesPanelController::openSheet() const {
    return m_panel->sheet();
}

void NotesPanelController::confirmDelete() {
    if (openSheet() != nullptr || !m_model.isLoaded() || m_model.refuseWhenReadOnly()) {
        return;
    }
    if (!m_panel->isVisible()) {
        show();
    }
    const core::NoteDocument note = m_model.current();
    const QString title = toQString(note.title());
    auto* box = new QMessageBox(QMessageBox::Warning, QStringLiteral("Delete this note?"),
                                QStringLiteral("Delete this note?"), QMessageBox::NoButton);
    box->setObjectName(QStringLiteral("delete-confirmation"));
    box->setInformativeText(
        QLatin1Char('"') + (title.isEmpty() ? QStringLiteral("Empty note") : title) +
        QStringLiteral("\" will be removed. There is no trash in this version."));
    QPushButton* remove = box->addButton(QStringLiteral("Delete"), QMessageBox::DestructiveRole);
    box->addButton(QStringLiteral("Cancel"), QMessageBox::RejectRole);
    box->setDefaultButton(remove);
    // A card of a readable width rather than a narrow column of text.
    box->setStyleSheet(QStringLiteral("QLabel#qt_msgbox_informativelabel { min-width: 260px; }"));
    m_panel->presentSheet(box, remove);
    connect(box, &QMessageBox::finished, this, [this, box, remove, id = note.id] {
        // Only the note the question named, should another have come forward meanwhile.
        if (box->clickedButton() == remove && m_model.current().id == id) {
            m_model.deleteCurrent();
        }
        focusEditor();
    });
}

void NotesPanelController::exportNote() {
    if (!m_model.isLoaded() || openSheet() != nullptr) {
        return;
    }
    if (!m_panel->isVisible()) {
        show();
    }
    auto* sheet = new NotesExportSheet(m_model.current());
    m_exportSheet = sheet;
    m_panel->presentSheet(sheet, sheet->nameField());
    connect(sheet, &QFileDialog::finished, this, [this, sheet](int result) {
        finishExport(result == QDialog::Accepted ? sheet->chosenPath() : QString());
    });
}

void NotesPanelController::finishExport(const QString& path) {
    const core::NoteDocument note =
        m_exportSheet != nullptr ? m_exportSheet->note() : m_model.current();
    m_exportSheet = nullptr;
    if (!path.isEmpty()) {
        try {
            if (core::isInsideLibrary(toStdString(path), toStdString(m_libraryFolder))) {
                Q_EMIT noteExportFailed();
                m_model.setBannerMessage(
                    QStringLiteral("Choose an export location outside the Notes library."));
            } else {
                core::NoteExport::write(note, toStdString(path));
                Q_EMIT noteExported();
            }
        } catch (const std::exception& error) {
            Q_EMIT noteExportFailed();
            m_model.setBannerMessage(QStringLiteral("Could not export this note: ") +
                                     QString::fromUtf8(error.what()));
        }
    }
    focusEditor();
}

bool NotesPanelController::route(const QKeyEvent& event) {
    const int key = event.key();
    if (key == Qt::Key_Escape) {
        if (m_model.sidebarVisible()) {
            m_model.setSidebarVisible(false);
        } else if (m_model.focusActive()) {
            leaveFocusMode();
        } else if (m_model.expanded()) {
            toggleExpanded();
        } else {
            hide();
        }
        return true;
    }
    const Qt::KeyboardModifiers modifiers =
        event.modifiers() &
        (Qt::ControlModifier | Qt::ShiftModifier | Qt::AltModifier | Qt::MetaModifier);
    if (modifiers == (Qt::ControlModifier | Qt::ShiftModifier)) {
        switch (key) {
        case Qt::Key_F:
            toggleExpanded();
            return true;
        case Qt::Key_D:
            toggleFocus();
            return true;
        case Qt::Key_L:
            m_model.setSidebarVisible(!m_model.sidebarVisible());
            return true;
        case Qt::Key_E:
            exportNote();
            return true;
        case Qt::Key_Backspace:
            confirmDelete();
            return true;
        default:
            return false;
        }
    }
    if (modifiers == Qt::ControlModifier) {
        switch (key) {
        case Qt::Key_O:
            if (m_model.requestOpenFile) {
                m_model.requestOpenFile();
            }
            return true;
        case Qt::Key_BracketLeft:
            m_model.goToPrevious();
            return true;
        case Qt::Key_BracketRight:
            m_model.goToNext();
            return true;
        case Qt::Key_N:
            m_model.createNote();
            return true;
        case Qt::Key_Comma:
            if (m_model.requestSettings) {
                m_model.requestSettings();
            }
            return true;
        case Qt::Key_Q:
            Q_EMIT quitRequested();
            return true;
        default:
            return false;
        }
    }
    return false;
}

bool NotesPanelController::eventFilter(QObject* watched, QEvent* event) {
    switch (event->type()) {
    case QEvent::KeyPress:
        // Commands are the panel's only while it is the active window and no dialog is open;
        // a dialog gets its keys.
        if (m_panel->isActiveWindow() && QApplication::activeModalWidget() == nullptr &&
            openSheet() == nullptr) {
            auto* widget = qobject_cast<QWidget*>(watched);
            if (widget != nullptr && widget->window() == m_panel &&
                route(*static_cast<QKeyEvent*>(event))) {
                return true;
            }
        }
        break;
    case QEvent::Move:
    case QEvent::Resize:
        if (watched == m_panel && m_panel->isVisible()) {
            saveFrame();
        }
        break;
    case QEvent::PaletteChange:
        // The appearance changed (also from the panel's own menu): the backdrop follows.
        if (watched == m_panel) {
            m_focusBackdrop.refresh();
        }
        break;
    default:
        break;
    }
    return QObject::eventFilter(watched, event);
}

} // namespace zemvar::app
