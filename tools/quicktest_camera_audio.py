"""The scripted operator's answers for the camera and audio rows.

The camera's picture is live only while the test streams: the operator looks
at it then (quicktest-demo.py keeps that look, judged by operator_camera.py)
and answers the question that follows by what it saw. The audio test's
question comes once the playback is over: the operator answers by what the
speaker played (the board's RUNDIR/speaker.wav against what the microphone
delivered, operator_audio.py).
"""

import operator_audio
from quicktest_questions import question


@question("camera")
def camera_picture_seen(ev):
    look = ev.looks.get("camera")
    if look is None:
        return False, "the camera's picture was never seen live on the screen"
    return bool(look[0]), look[1]


@question("audio")
def playback_heard(ev):
    if not ev.run_dir:
        return False, "nothing to listen to: the board's run directory is unknown"
    return operator_audio.judge(ev.run_dir, ev.state)
