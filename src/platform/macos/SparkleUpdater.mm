// SPUStandardUpdaterController started at once with our delegate; canCheckForUpdates followed by key-value
// observation (initial value and every change). Everything here runs on the main thread, as Sparkle requires.
#include "SparkleUpdater.h"

#import <Foundation/Foundation.h>
#import <Sparkle/Sparkle.h>

#include <QString>

// Answers Sparkle's question for the feed parameters with what the application supplies.
@interface TamsinvaleUpdaterDelegate : NSObject <SPUUpdaterDelegate>
@property (nonatomic) tamsinvale::SoftwareUpdater::FeedParameters feedParameters;
@end

@implementation TamsinvaleUpdaterDelegate

- (NSArray<NSDictionary<NSString*, NSString*>*>*)feedParametersForUpdater:(SPUUpdater*)updater
                                                      sendingSystemProfile:(BOOL)sendingProfile
{
    (void)updater;
    (void)sendingProfile;
    NSMutableArray<NSDictionary<NSString*, NSString*>*>* out = [NSMutableArray array];
    if (!self.feedParameters)
        return out;
    for (const QVariantMap& parameter : self.feedParameters()) {
        NSMutableDictionary<NSString*, NSString*>* entry = [NSMutableDictionary dictionary];
        for (auto it = parameter.constBegin(); it != parameter.constEnd(); ++it)
            entry[it.key().toNSString()] = it.value().toString().toNSString();
        [out addObject:entry];
    }
    return out;
}

@end

// Forwards changes of the updater's canCheckForUpdates to the Qt signal.
@interface TamsinvaleUpdaterObserver : NSObject
@property (nonatomic, assign) tamsinvale::SparkleUpdater* owner;
@end

@implementation TamsinvaleUpdaterObserver

- (void)observeValueForKeyPath:(NSString*)keyPath
                      ofObject:(id)object
                        change:(NSDictionary<NSKeyValueChangeKey, id>*)change
                       context:(void*)context
{
    (void)object;
    (void)context;
    if (![keyPath isEqualToString:@"canCheckForUpdates"] || !self.owner)
        return;
    const id value = change[NSKeyValueChangeNewKey];
    const bool canCheck = [value isKindOfClass:[NSNumber class]] && [(NSNumber*)value boolValue];
    emit self.owner->canCheckForUpdatesChanged(canCheck);
}

@end

namespace tamsinvale {

struct SparkleUpdater::Objects {
    TamsinvaleUpdaterDelegate* delegate = nil;
    TamsinvaleUpdaterObserver* observer = nil;
    SPUStandardUpdaterController* controller = nil;
};

SparkleUpdater::SparkleUpdater(QObject* parent) : m_objects(std::make_unique<Objects>()) { setParent(parent); }

SparkleUpdater::~SparkleUpdater()
{
    if (m_objects->controller && m_objects->observer) {
        [m_objects->controller.updater removeObserver:m_objects->observer forKeyPath:@"canCheckForUpdates"];
        m_objects->observer.owner = nullptr;
    }
}

void SparkleUpdater::start(FeedParameters feedParameters)
{
    if (m_objects->controller)
        return;
    m_objects->delegate = [[TamsinvaleUpdaterDelegate alloc] init];
    m_objects->delegate.feedParameters = std::move(feedParameters);
    // The controller holds its updater delegate weakly; m_objects keeps it alive as long as the controller.
    m_objects->controller = [[SPUStandardUpdaterController alloc] initWithStartingUpdater:YES
                                                                          updaterDelegate:m_objects->delegate
                                                                       userDriverDelegate:nil];
    m_objects->observer = [[TamsinvaleUpdaterObserver alloc] init];
    m_objects->observer.owner = this;
    [m_objects->controller.updater addObserver:m_objects->observer
                                    forKeyPath:@"canCheckForUpdates"
                                       options:NSKeyValueObservingOptionInitial | NSKeyValueObservingOptionNew
                                       context:nullptr];
}

bool SparkleUpdater::canCheckForUpdates() const
{
    return m_objects->controller && m_objects->controller.updater.canCheckForUpdates;
}

bool SparkleUpdater::automaticallyChecksForUpdates() const
{
    return m_objects->controller && m_objects->controller.updater.automaticallyChecksForUpdates;
}

void SparkleUpdater::setAutomaticallyChecksForUpdates(bool on)
{
    if (m_objects->controller)
        m_objects->controller.updater.automaticallyChecksForUpdates = on ? YES : NO;
}

void SparkleUpdater::checkForUpdates()
{
    if (m_objects->controller)
        [m_objects->controller.updater checkForUpdates];
}

}  // namespace tamsinvale
