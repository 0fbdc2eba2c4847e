#pragma once

#include "kit/notes/NoteExport.h"

#include <QDialog>

class QLabel;
class QLineEdit;
class QPushButton;
class QRadioButton;

namespace corvantis {

class NotesModel;

// Export of a note or a folder of notes: Markdown or PDF, where to, and what the export will be (how
// many notes; a folder with "attachments" when the Markdown names pictures). A failed write shows here.
class NoteExportDialog : public QDialog {
    Q_OBJECT
public:
    NoteExportDialog(NotesModel& model, const QString& id, QWidget* parent = nullptr);

    NoteExport::Format format() const;
    void setFormat(NoteExport::Format format);
    QString path() const;
    void setPath(const QString& path);
    QLabel* messageLabel() const { return m_message; }
    QLabel* errorLabel() const { return m_error; }
    QLabel* countLabel() const { return m_count; }
    // Writes the export; false with the sentence in the dialog when it failed.
    bool exportNow();
    // Where the last export went.
    QString written() const { return m_written; }

private:
    void syncMessage();
    void choosePath();

    NotesModel& m_model;
    QString m_id;
    QLabel* m_count;
    QRadioButton* m_markdown;
    QRadioButton* m_pdf;
    QLabel* m_message;
    QLineEdit* m_path;
    QLabel* m_error;
    QPushButton* m_export;
    QString m_written;
};

} // namespace corvantis
