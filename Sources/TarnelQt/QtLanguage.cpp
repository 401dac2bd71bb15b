#include <TarnelQt/QtLanguage.hpp>

#include <QGuiApplication>
#include <QLocale>
#include <QString>

namespace tarnel {

void setLayoutDirection(const std::string& locale) {
    QGuiApplication::setLayoutDirection(QLocale(QString::fromStdString(locale)).textDirection());
}

} // namespace tarnel
