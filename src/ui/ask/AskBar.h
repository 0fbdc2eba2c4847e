#pragma once

#include "app/ask/AskSettings.h"

#include <QPointer>
#include <QWidget>

class QComboBox;
class QCompleter;
class QHBoxLayout;
class QLabel;
class QLineEdit;
class QStringListModel;
class QToolButton;

namespace corvantis {

class AppModel;
class ProjectSession;

// The Ask bar: the field, the mode picker (Ctrl+1 to Ctrl+5), the stop button while a question is
// worked on, the line that says what leaves the computer, and suggested questions for an empty field.
// In the search modes it names the problems of the "::Type::" syntax under the field; in raw Cypher
// mode it completes labels, relationship types and properties. Ctrl+F focuses it; Esc stops.
class AskBar : public QWidget {
    Q_OBJECT
public:
    explicit AskBar(AppModel& app, QWidget* parent = nullptr);

    void setSession(ProjectSession* session);
    QLineEdit* field() const { return m_field; }
    QComboBox* modePicker() const { return m_modes; }
    QLabel* privacyLine() const { return m_privacy; }
    QLabel* problemsLine() const { return m_problems; }
    // What a question would be put with now.
    AskSettings settings() const { return settingsOf(m_app); }
    static AskSettings settingsOf(const AppModel& app);

    static QString privacyText();
    // The colour of a Cypher token's kind in the raw field; invalid for plain text.
    static QColor tokenColour(int kind);
    // The raw field's completion popup (labels, relationship types, properties at the caret).
    QCompleter* cypherCompleter() const { return m_cypherCompleter; }
    // Puts a widget at the end of the field's row (the "Search in" menu).
    void addToRow(QWidget* widget);

private:
    void submit();
    void syncMode();
    void syncWorking();
    void syncProblems();
    void syncCompletions();
    // Raw Cypher mode: colours the field's text by its tokens (plain text in the other modes).
    void syncColours();
    // Raw Cypher mode: offers the names that fit at the caret.
    void completeAtCaret();
    void insertCompletion(const QString& name);

    AppModel& m_app;
    QPointer<ProjectSession> m_session;
    QComboBox* m_modes;
    QLineEdit* m_field;
    QToolButton* m_stop;
    QLabel* m_blurb;
    QLabel* m_privacy;
    QLabel* m_problems;
    QCompleter* m_completer;
    QStringListModel* m_completions;
    QCompleter* m_cypherCompleter;
    QStringListModel* m_cypherNames;
    int m_completionStart = -1;
    QHBoxLayout* m_row = nullptr;
};

} // namespace corvantis
