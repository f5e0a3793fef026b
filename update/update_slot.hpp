#pragma once

/**
 * @file
 * One update at a time: whether a worker holds the job in hand.
 *
 * The main thread takes the slot when it starts a worker; the worker gives it back when it needs
 * the request record no more, before it reports the outcome, so that the coordinator may send the
 * next job from inside its handler of that report.
 */

bool updateRunning();
void takeUpdateSlot();
void giveUpdateSlotBack();
