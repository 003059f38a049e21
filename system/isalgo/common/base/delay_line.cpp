// SPDX-License-Identifier: Apache-2.0
#include "base/delay_line.hpp"

namespace steadywarp {

bool DelayLine::add_frame() {
    bool is_legal = true;
    switch (_state) {
        case kStateFirstFrame:
            is_legal = _pending == 0;
            _state = _size >= 2 ? kStateFilling : kStateRunning;
            break;
        case kStateFilling:
            ++_pending;
            ++_frame_counter;
            _state = _pending >= _size - 1 ? kStateRunning : kStateFilling;
            break;
        case kStateRunning:
            ++_frame_counter;
            break;
        case kStateDraining:
            // A frame after the end of a stream: its start must come first.
            _pending -= _pending != 0 ? 1 : 0;
            ++_frame_counter;
            is_legal = false;
            break;
        default:
            is_legal = false;
            break;
    }
    _has_new_frame = is_legal;
    if (!is_legal) {
        _state = kStateError;
    }
    return is_legal;
}

DelayLine::OutputKind DelayLine::take_output() {
    if (_has_new_frame) {
        _has_new_frame = false;
        return _state == kStateRunning ? kCore : _state == kStateDraining ? kHistory : kNone;
    }
    switch (_state) {
        case kStateRunning:
            _state = kStateDraining;
            ++_frame_counter;
            return kHistory;
        case kStateDraining:
            ++_frame_counter;
            // Nothing left counts as having run out just now.
            _pending -= _pending != 0 ? 1 : 0;
            if (_pending == 0) {
                _state = kStateFinished;
                return kNone;
            }
            return kHistory;
        case kStateFilling:
            return kNone;
        default:
            if (_state != kStateFirstFrame || _pending != 0) {
                _state = kStateError;
            }
            return kNone;
    }
}

}  // namespace steadywarp
