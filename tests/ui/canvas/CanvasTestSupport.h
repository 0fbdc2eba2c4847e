#pragma once

// A project window over a small reading graph (Person, Book, wrote), for the canvas's tests.
#include "tests/support/ShapeBuilders.h"
#include "tests/ui/shape/WindowTestSupport.h"

#include <QCoreApplication>

namespace corvantis::test {

// Person (name, born: number) and Book (title, done: boolean); Person wrote Book.
inline GraphSchema readingShape() {
    GraphSchema shape;
    NodeType person;
    person.id = QUuid::createUuid();
    person.name = "Person";
    person.color = "mint";
    person.properties = {property("name", PropertyKind::Text), property("born", PropertyKind::Number)};
    person.titleProperty = person.properties[0].id;
    person.x = -150;
    NodeType book;
    book.id = QUuid::createUuid();
    book.name = "Book";
    book.color = "peach";
    book.properties = {property("title", PropertyKind::Text), property("done", PropertyKind::Boolean)};
    book.titleProperty = book.properties[0].id;
    book.x = 150;
    RelType wrote;
    wrote.id = QUuid::createUuid();
    wrote.name = "wrote";
    wrote.endpoints = {{person.id, book.id}};
    shape.nodeTypes = {person, book};
    shape.relTypes = {wrote};
    return shape;
}

inline void settle() {
    for (int i = 0; i < 3; ++i)
        QCoreApplication::processEvents();
}

} // namespace corvantis::test
