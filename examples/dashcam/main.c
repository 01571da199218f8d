// SPDX-License-Identifier: MIT
/*
 * A small camera application: logs through the library's frame, reads the
 * clocks, blinks the record LED on GPIO 33, and hands frames through a queue
 * and a telemetry byte stream through a ring from a producer thread to a
 * consumer thread.
 */
#include <pthread.h>
#include <sched.h>
#include <stdint.h>
#include <stdio.h>
#include <string.h>
#include <unistd.h>

#include "comm_clock.h"
#include "comm_gpio.h"
#include "comm_log.h"
#include "comm_queue.h"
#include "comm_ringbuffer.h"

#define LED_GPIO 33

static int blink_record_led(int times) {
    char dir[4] = "out";
    int i;

    if (Zev_Comm_Gpio_Export(LED_GPIO) != 0) {
        ZEV_COMM_ERR("no LED gpio[%d]\n", LED_GPIO);
        return -1;
    }
    if (Zev_Comm_Gpio_SetDirection(LED_GPIO, dir) != 0) {
        return -1;
    }
    for (i = 0; i < times; i++) {
        Zev_Comm_Gpio_SetVal(LED_GPIO, 1);
        ZEV_COMM_INF("LED on, reads %d\n", Zev_Comm_Gpio_GetVal(LED_GPIO));
        usleep(20000);
        Zev_Comm_Gpio_SetVal(LED_GPIO, 0);
        ZEV_COMM_INF("LED off, reads %d\n", Zev_Comm_Gpio_GetVal(LED_GPIO));
    }
    return 0;
}

/* ---- frames and telemetry between two threads ------------------------ */

#define FRAME_COUNT 40
#define FRAME_QUEUE_DEPTH 8
#define TELEMETRY_RING_SIZE 256
#define TELEMETRY_CHUNK 100

typedef struct {
    uint32_t u32Seq;
    uint32_t u32Size;
    uint8_t au8Head[56];
} FRAME_S;

typedef struct {
    void *pFrames;    /* queue of FRAME_S */
    void *pTelemetry; /* ring of telemetry bytes */
    int iFramesOk;
    int iBytesOk;
} PIPE_S;

static uint8_t telemetry_byte(int i) { return (uint8_t)('A' + i % 26); }

static void fill_frame(FRAME_S *pstFrame, uint32_t u32Seq) {
    memset(pstFrame, 0, sizeof *pstFrame);
    pstFrame->u32Seq = u32Seq;
    pstFrame->u32Size = 1000 + u32Seq;
    memset(pstFrame->au8Head, (int)(u32Seq & 0xff), sizeof pstFrame->au8Head);
}

/* One producer: only it raises the queue's count and the ring's data size,
 * so room it has seen stays there and no push or store falls short. */
static void *produce(void *arg) {
    PIPE_S *pstPipe = (PIPE_S *)arg;
    uint8_t au8Chunk[TELEMETRY_CHUNK];
    FRAME_S stFrame;
    int iFrame = 0, iSent = 0, i;

    while (iFrame < FRAME_COUNT || iSent < FRAME_COUNT * TELEMETRY_CHUNK) {
        if (iFrame < FRAME_COUNT && Zev_Queue_GetLen(pstPipe->pFrames) < FRAME_QUEUE_DEPTH) {
            fill_frame(&stFrame, (uint32_t)iFrame);
            Zev_Queue_Push(pstPipe->pFrames, &stFrame);
            iFrame++;
        }
        if (iSent < FRAME_COUNT * TELEMETRY_CHUNK &&
            TELEMETRY_RING_SIZE - 1 - RingBuffer_GetDataSize(pstPipe->pTelemetry) >= TELEMETRY_CHUNK) {
            for (i = 0; i < TELEMETRY_CHUNK; i++) {
                au8Chunk[i] = telemetry_byte(iSent + i);
            }
            iSent += RingBuffer_StrIn(pstPipe->pTelemetry, au8Chunk, TELEMETRY_CHUNK);
        }
        sched_yield();
    }
    return NULL;
}

/* One consumer: only it lowers the counts, so what it has seen is there. */
static void *consume(void *arg) {
    PIPE_S *pstPipe = (PIPE_S *)arg;
    uint8_t au8Chunk[TELEMETRY_CHUNK];
    FRAME_S stFrame, stWant;
    int iFrames = 0, iBytes = 0, iLen, i;

    while (iFrames < FRAME_COUNT || iBytes < FRAME_COUNT * TELEMETRY_CHUNK) {
        if (Zev_Queue_GetLen(pstPipe->pFrames) > 0) {
            Zev_Queue_Pop(pstPipe->pFrames, &stFrame);
            fill_frame(&stWant, (uint32_t)iFrames);
            if (memcmp(&stFrame, &stWant, sizeof stFrame) == 0) {
                pstPipe->iFramesOk++;
            }
            if (stFrame.u32Seq % 10 == 9) {
                ZEV_COMM_DBG("frame %u, %u bytes\n", stFrame.u32Seq, stFrame.u32Size);
            }
            iFrames++;
        }
        iLen = RingBuffer_GetDataSize(pstPipe->pTelemetry);
        if (iLen > TELEMETRY_CHUNK) {
            iLen = TELEMETRY_CHUNK;
        }
        if (iLen > 0) {
            iLen = RingBuffer_StrOut(pstPipe->pTelemetry, au8Chunk, iLen);
            for (i = 0; i < iLen; i++) {
                pstPipe->iBytesOk += au8Chunk[i] == telemetry_byte(iBytes + i);
            }
            iBytes += iLen;
        }
        sched_yield();
    }
    return NULL;
}

static int pass_frames_between_threads(void) {
    PIPE_S stPipe;
    pthread_t producer, consumer;

    memset(&stPipe, 0, sizeof stPipe);
    stPipe.pFrames = Zev_Queue_Create(sizeof(FRAME_S), FRAME_QUEUE_DEPTH);
    stPipe.pTelemetry = RingBuffer_create("telemetry", TELEMETRY_RING_SIZE);
    if (stPipe.pFrames == NULL || stPipe.pTelemetry == NULL) {
        ZEV_COMM_ERR("no memory for the frame queue or the telemetry ring\n");
        Zev_Queue_Destroy(stPipe.pFrames);
        RingBuffer_destroy(stPipe.pTelemetry);
        return -1;
    }
    pthread_create(&consumer, NULL, consume, &stPipe);
    pthread_create(&producer, NULL, produce, &stPipe);
    pthread_join(producer, NULL);
    pthread_join(consumer, NULL);
    ZEV_COMM_INF("%d of %d frames and %d of %d telemetry bytes came through in order\n", stPipe.iFramesOk,
                 FRAME_COUNT, stPipe.iBytesOk, FRAME_COUNT * TELEMETRY_CHUNK);
    Zev_Queue_Destroy(stPipe.pFrames);
    RingBuffer_destroy(stPipe.pTelemetry);
    return 0;
}

int main(void) {
    char stamp[16];

    ZEV_COMM_INF("dashcam demo starting, print level %d\n", Zev_Comm_GetPrintLev());
    ZevSysFormatRtcTime(stamp);
    ZEV_COMM_DBG("boot %u ms, wall clock %s\n", Zev_Comm_GetBootMs(), stamp);

    if (blink_record_led(2) != 0) {
        ZEV_COMM_WAR("running without the record LED\n");
    }

    Zev_Comm_SetPrintLev(7);
    ZEV_COMM_VER("verbose lines show at level %d\n", Zev_Comm_GetPrintLev());
    Zev_Comm_SetPrintLev(5);
    ZEV_COMM_VER("and this one does not\n");
    pass_frames_between_threads();
    ZEV_COMM_INF("dashcam demo done\n");
    return 0;
}
