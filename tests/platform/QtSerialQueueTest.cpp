// The Linux serial queue: jobs off the main thread, one at a time and in order, results back on the main thread.
#include <gtest/gtest.h>

#include <QDeadlineTimer>
#include <QThread>
#include <atomic>
#include <memory>

#include "TestSupport.h"
#include "platform/linux/QtSerialQueue.h"

using namespace tamsinvale;

TEST(QtSerialQueue, jobsRunOffTheMainThreadOneAtATimeInOrderAndAnswerOnTheMainThread)
{
    QtSerialQueue queue("test.SerialQueue");
    QThread* const mainThread = QThread::currentThread();
    std::atomic<int> inFlight{0};
    std::atomic<int> mostInFlight{0};
    std::atomic<bool> ranOnMain{false};
    QList<int> ran;  // written by the worker only, read after the last answer
    QList<int> answered;
    bool answersOffMain = false;
    constexpr int jobs = 30;
    for (int i = 0; i < jobs; ++i) {
        queue.run(
            [&, i] {
                const int now = ++inFlight;
                mostInFlight = std::max(mostInFlight.load(), now);
                ranOnMain = ranOnMain || QThread::currentThread() == mainThread;
                QThread::usleep(500);  // long enough that an overlapping job would be caught
                ran << i;
                --inFlight;
            },
            [&, i] {
                answersOffMain = answersOffMain || QThread::currentThread() != mainThread;
                answered << i;
            });
    }
    ASSERT_TRUE(test::waitUntil([&] { return answered.size() == jobs; }, 10000));
    QList<int> inOrder;
    for (int i = 0; i < jobs; ++i)
        inOrder << i;
    EXPECT_EQ(ran, inOrder);
    EXPECT_EQ(answered, inOrder);
    EXPECT_EQ(mostInFlight.load(), 1);
    EXPECT_FALSE(ranOnMain.load());
    EXPECT_FALSE(answersOffMain);
}

TEST(QtSerialQueue, answersStillOnTheirWayWhenTheQueueGoesAreDropped)
{
    std::atomic<int> ran{0};
    int answered = 0;
    {
        QtSerialQueue queue("test.SerialQueue");
        for (int i = 0; i < 3; ++i)
            queue.run([&] { ++ran; }, [&] { ++answered; });
        // The jobs finish on the worker; their answers wait in the main thread's queue, which is not run here.
        QDeadlineTimer deadline(10000);
        while (ran < 3 && !deadline.hasExpired())
            QThread::yieldCurrentThread();
        ASSERT_EQ(ran.load(), 3);
    }
    QCoreApplication::processEvents();
    EXPECT_EQ(answered, 0);
}
