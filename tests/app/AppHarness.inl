#pragma once

#include <QTest>

namespace tessel::test {

template <class Predicate>
bool waitUntil(Predicate done) {
    // The limit only ends a test that hangs; no test depends on how long anything takes.
    return QTest::qWaitFor(done, 60'000);
}

}  // namespace tessel::test
