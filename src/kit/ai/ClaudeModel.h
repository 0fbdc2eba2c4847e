#pragma once

#include "kit/ai/AIModel.h"

#include <QList>
#include <QString>
#include <optional>

namespace corvantis {

// The Claude models offered in menus, in menu order. Each family has one current member; an id of any
// other version of a family resolves to it.
class ClaudeModel {
public:
    enum Value { opus, fable, sonnet, haiku };

    constexpr ClaudeModel(Value value)
        : m_value(value) {}

    constexpr Value value() const { return m_value; }
    QString id() const;
    // The second dash-separated word of the id, lowercased ("sonnet").
    QString family() const;
    // The family with its first letter uppercased ("Sonnet").
    QString title() const;
    // Every Claude model offers the same efforts, up to max.
    QList<AIEffort> efforts() const;
    AIModel model() const;

    static const QList<ClaudeModel>& allCases();
    // An exact id, else the first family whose prefix "claude-{family}-" begins the id, else absent.
    static std::optional<ClaudeModel> fromID(const QString& id);

    friend constexpr bool operator==(ClaudeModel a, ClaudeModel b) { return a.m_value == b.m_value; }

private:
    Value m_value;
};

} // namespace corvantis
