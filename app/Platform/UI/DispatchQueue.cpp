#include "Platform/UI/DispatchQueue.h"

#include <QCoreApplication>
#include <QTimer>

DispatchQueue &DispatchQueue::main()
{
    static DispatchQueue queue;
    return queue;
}

void DispatchQueue::async(std::function<void()> work, QObject *context) const
{
    asyncAfter(0, std::move(work), context);
}

void DispatchQueue::asyncAfter(int milliseconds, std::function<void()> work, QObject *context) const
{
    QObject *receiver = context ? context : QCoreApplication::instance();
    QTimer::singleShot(milliseconds, receiver, std::move(work));
}
