// SPDX-License-Identifier: Apache-2.0
#pragma once

// The structures that methods of the jobs service answer with, for the code that qdbusxml2cpp makes of its interface:
//
//     qdbusxml2cpp -i TarnJobsTypes.h -p JobsManager com.corvane.common.JobsManagerDaemon1.xml
//
// Call TarnJobs::RegisterTypes() before the first call. The first member of each is the return code, 0 being success.

#include <QDBusArgument>
#include <QDBusMetaType>
#include <QString>

#include <tuple>
#include <utility>

namespace TarnJobs {

struct JobAnswer {
    int rc = 0;
    QString device;
    QString summary; ///< JSON; of GetNewMediaPathComponents `device` is the folder and this the file stem
    auto Members() { return std::tie(rc, device, summary); }
};

struct TextAnswer {
    int rc = 0;
    QString text;
    auto Members() { return std::tie(rc, text); }
};

struct FlagAnswer {
    int rc = 0;
    bool flag = false;
    auto Members() { return std::tie(rc, flag); }
};

struct ContactAnswer {
    int rc = 0;
    uchar contactId = 0;
    auto Members() { return std::tie(rc, contactId); }
};

struct NumberAnswer {
    int rc = 0;
    int number = 0;
    auto Members() { return std::tie(rc, number); }
};

struct CountsAnswer {
    int rc = 0;
    int total = 0;
    int autologs = 0;
    int images = 0;
    int photoTalks = 0;
    int videos = 0;
    auto Members() { return std::tie(rc, total, autologs, images, photoTalks, videos); }
};

template <typename Answer, typename = decltype(std::declval<Answer&>().Members())>
QDBusArgument& operator<<(QDBusArgument& argument, Answer answer) {
    argument.beginStructure();
    std::apply([&](auto&... member) { (argument << ... << member); }, answer.Members());
    argument.endStructure();
    return argument;
}

template <typename Answer, typename = decltype(std::declval<Answer&>().Members())>
const QDBusArgument& operator>>(const QDBusArgument& argument, Answer& answer) {
    argument.beginStructure();
    std::apply([&](auto&... member) { (argument >> ... >> member); }, answer.Members());
    argument.endStructure();
    return argument;
}

inline void RegisterTypes() {
    qDBusRegisterMetaType<JobAnswer>();
    qDBusRegisterMetaType<TextAnswer>();
    qDBusRegisterMetaType<FlagAnswer>();
    qDBusRegisterMetaType<ContactAnswer>();
    qDBusRegisterMetaType<NumberAnswer>();
    qDBusRegisterMetaType<CountsAnswer>();
}

} // namespace TarnJobs

Q_DECLARE_METATYPE(TarnJobs::JobAnswer)
Q_DECLARE_METATYPE(TarnJobs::TextAnswer)
Q_DECLARE_METATYPE(TarnJobs::FlagAnswer)
Q_DECLARE_METATYPE(TarnJobs::ContactAnswer)
Q_DECLARE_METATYPE(TarnJobs::NumberAnswer)
Q_DECLARE_METATYPE(TarnJobs::CountsAnswer)
