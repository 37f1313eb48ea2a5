#pragma once
// How the model runs work off the main thread. Private to the model's sources.
//
// Work gets value copies only and returns a value; its result comes back to the main thread
// through a queued call and is applied only if the model still exists. The model's own pool
// runs the work, so the model's destructor can wait for all of it: the services that work
// uses (the HTTP session, the installer) then never outlive their callers' expectations.

#include <QCoreApplication>
#include <QMetaObject>
#include <QPointer>
#include <exception>
#include <system_error>
#include <utility>

#include "tessel/Render.hpp"
#include "tessel/TesselError.hpp"

#include "model/AppModel.hpp"

namespace tessel::app {

template <class Apply>
void AppModel::applyLater(const QPointer<AppModel>& model, Apply apply) {
    QMetaObject::invokeMethod(
        QCoreApplication::instance(),
        [model, apply = std::move(apply)]() mutable {
            // A model that is gone, or quitting, drops the result.
            if (AppModel* alive = model.data(); alive && !alive->isAbandoned()) apply(*alive);
        },
        Qt::QueuedConnection);
}

template <class Work, class Apply>
void AppModel::runInBackground(Work work, Apply apply) {
    if (isAbandoned()) return;  // quitting: nothing new starts
    QPointer<AppModel> model(this);
    pool_.start([model, work = std::move(work), apply = std::move(apply)]() mutable {
        applyLater(model, [apply = std::move(apply), result = work()](AppModel& alive) mutable {
            apply(alive, std::move(result));
        });
    });
}

/// What `errorMessage` says of `error`: its description, and its cause on a line of its own.
inline QString errorText(const TesselError& error) {
    QString text = QString::fromStdString(error.errorDescription());
    if (!error.cause().empty()) text += u'\n' + QString::fromStdString(error.cause());
    return text;
}

/// Runs `work` and keeps its value, or the text of its failure: a `TesselError`'s own
/// description and cause, and `otherwise` for any other exception, with the system's reason
/// when it is a system error. A render stopped by its cancellation is neither.
template <class T, class Work>
AppModel::Outcome<T> AppModel::capture(Work&& work, const TesselError& otherwise) {
    try {
        return {std::forward<Work>(work)(), {}};
    } catch (const TesselError& error) {
        return {std::nullopt, errorText(error)};
    } catch (const RenderCancelled&) {
        return {std::nullopt, {}, true};
    } catch (const std::system_error& error) {
        return {std::nullopt, errorText(otherwise.withCause(error.code().message() + "."))};
    } catch (...) {
        return {std::nullopt, QString::fromStdString(otherwise.errorDescription())};
    }
}

}  // namespace tessel::app
