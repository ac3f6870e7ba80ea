#include "Platform/UI/PictureCache.h"

#include "Deployment.h"

#include <QDir>
#include <QNetworkAccessManager>
#include <QNetworkDiskCache>

QNetworkAccessManager *PictureCache::create(QObject *parent)
{
    // The engine may ask from its picture-loading thread as well; each manager gets a cache
    // object of its own over the same directory, whose entries are written whole or not at all.
    auto *manager = new QNetworkAccessManager(parent);
    auto *cache = new QNetworkDiskCache(manager);
    cache->setCacheDirectory(directory());
    cache->setMaximumCacheSize(maximumBytes);
    manager->setCache(cache);
    manager->setTransferTimeout(static_cast<int>(Deployment::requestTimeout().count()));
    return manager;
}

QString PictureCache::directory()
{
    return QDir(Deployment::homeDirectory()).filePath(QStringLiteral("PictureCache"));
}
