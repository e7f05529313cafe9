#!/usr/bin/env python3
"""press_window.py KESTRIN [PICTURES]: presses what the window offers, as a hand would, and reads the fields back.

Starts an X server without a screen (Xvfb) and the program with the example in it, presses every button of both strips,
every entry of their menus, every gesture of the timeline and the transport of full screen with xdotool, and compares
the field after each with what it should be. Prints a line for whatever is not so, and ends with the number of them. With
a folder, pictures of the window along the way go there.
"""
import os, re, shutil, subprocess, sys, tempfile, time

program = os.path.realpath(sys.argv[1])
pictures = os.path.realpath(sys.argv[2]) if len(sys.argv) > 2 else None
project = os.path.dirname(os.path.dirname(os.path.realpath(__file__)))
home = tempfile.mkdtemp()
W, H = 940, 800
failures = 0
presses = 0


def start_server():
    ends = os.pipe()
    server = subprocess.Popen(['Xvfb', '-displayfd', str(ends[1]), '-screen', '0', '1600x1200x24', '-noreset',
                               '-nolisten', 'tcp'], pass_fds=[ends[1]], stderr=subprocess.DEVNULL)
    os.close(ends[1])
    name = b''
    while not name.endswith(b'\n'):
        name += os.read(ends[0], 16)
    return server, ':' + name.decode().strip()


server, display = start_server()
environment = dict(os.environ, DISPLAY=display, HOME=home, XDG_CONFIG_HOME=home + '/config',
                   XDG_DATA_HOME=home + '/data', XDG_RUNTIME_DIR=home + '/run', QT_QPA_PLATFORM='xcb',
                   SDL_AUDIODRIVER='dummy')
os.makedirs(home + '/run', mode=0o700)


def run(*words):
    return subprocess.run(words, env=environment, cwd=home, capture_output=True, text=True, timeout=60).stdout.strip()


def hand_over(*options):
    return run(program, '--attach', *options)


def read(*fields):
    out = hand_over(*['--print_field=' + field for field in fields])
    return [line.partition('=')[2] for line in out.splitlines()]


def xdotool(*words):
    return run('xdotool', *[str(word) for word in words])


def picture(name):
    if pictures:
        os.makedirs(pictures, exist_ok=True)
        run('import', '-window', 'root', '-crop', f'{W}x{H + 60}+0+0', f'{pictures}/{name}.png')


def picture_of_screen(name):
    if pictures:
        run('import', '-window', 'root', f'{pictures}/{name}.png')


def wait_for(test, seconds=5):
    end = time.time() + seconds
    while time.time() < end:
        if test():
            return True
        time.sleep(0.05)
    return test()


def expect(what, field, wanted):
    """The field comes to have the value; a function of it may stand for the value."""
    global failures, presses
    presses += 1
    seen = []

    def is_so():
        seen[:] = read(field)
        value = seen[0] if seen else None
        return value is not None and (wanted(value) if callable(wanted) else value == str(wanted))
    if not wait_for(is_so):
        failures += 1
        if kestrin.poll() is not None:
            print(f'{what}: the program has ended with {kestrin.returncode}', flush=True)
            raise SystemExit
        print(f'{what}: {field} is {seen}' + ('' if callable(wanted) else f', not {wanted}'), flush=True)


def place(x, y):
    """A point of the client area on the screen."""
    return client[0] + x, client[1] + y


def move(x, y):
    xdotool('mousemove', *place(x, y))


def click(x, y, button=1, modifiers=(), times=1):
    for key in modifiers:
        xdotool('keydown', key)
    xdotool('mousemove', *place(x, y), 'click', '--repeat', times, '--delay', 60, button)
    for key in modifiers:
        xdotool('keyup', key)


def drag(points, button=1, modifiers=(), hold=0.0):
    xdotool('mousemove', *place(*points[0]), 'mousedown', button)
    for key in modifiers:
        xdotool('keydown', key)
    for x, y in points[1:]:
        xdotool('mousemove', *place(x, y))
        time.sleep(0.05)
    time.sleep(hold)
    xdotool('mouseup', button)
    for key in modifiers:
        xdotool('keyup', key)


def windows():
    return set(xdotool('search', '--onlyvisible', '--pid', kestrin.pid, '').split())


def choose(x, y, downs):
    """Opens a menu with the right button and takes the entry that as many downs lead to."""
    before = windows()
    click(x, y, 3)
    if not wait_for(lambda: len(windows()) > len(before)):
        return False
    xdotool('key', '--delay', 30, *['Down'] * downs, 'Return')
    return wait_for(lambda: len(windows()) <= len(before))


def press_buttons(button, at, transport):
    for name, field, first, second in [
            ('r', 'view_channels', 'r_grayscale', 'rgb'), ('g', 'view_channels', 'g_grayscale', 'rgb'), ('b', 'view_channels', 'b_grayscale', 'rgb'),
            ('a', 'view_channels', 'alpha', 'rgb'), ('l', 'view_channels', 'luma', 'rgb'),
            ('z', 'view_channels', 'depth', 'rgb'), ('properties', 'property_panel_visible', 1, 0),
            ('safe', 'safe_area_visible', 1, 0), ('grid', 'grid', 1, 0), ('back', 'back_color', 'transparent', 'black'),
            ('vsync', 'vsync', 1, 0), ('stereo', 'stereo_view', 'right', 'left'), ('quality', 'resolution', 'half', 'quarter'),
            ('server', 'http_url', lambda url: url.startswith('http://'), '')]:
        click(*button[name])
        expect(name, field, first)
        picture('on_' + name)
        click(*button[name])
        expect(name + ' again', field, second)
    click(*button['quality'])
    expect('quality once more', 'resolution', 'full')
    for name, field, value in [('last', 'time', 15), ('prev', 'time', 14), ('next', 'time', 15), ('first', 'time', 0)]:
        click(*transport[name])
        expect(name, field, value)
    click(*transport['forward'])
    expect('play', 'playing', 1)
    picture('playing')
    click(*transport['forward'])
    expect('pause', 'playing', 0)
    click(*transport['back'])
    expect('play back', 'forward', 0)
    click(*transport['back'])
    expect('pause', 'playing', 0)
    hand_over('--time=0')
    for value in ('none', 'ping_pong', 'loop'):
        click(*transport['repeat'])
        expect('repeat', 'repeat', value)


def press_menus(button):
    menus = [
        ('stereo', 'stereo_view', ['left', 'right', 'both']),
        ('stereo', 'stereo_mode', [None] * 3 + ['anaglyph', 'anaglyph_gm', 'interlaced', 'checkerboard']),
        ('stereo', 'switch_views', [None] * 7 + [1]),
        ('r', 'view_channels', None), ('g', 'view_channels', None), ('b', 'view_channels', None),
        ('safe', 'safe_area', ['none', 'blue', 'orange']),
        ('safe', 'mask_type', [None] * 3 + ['none', 'transparent', 'crop', 'crop_safe']),
        ('safe', 'apply_transforms_to_mask', [None] * 7 + [1]),
        ('back', 'back_color', ['black', 'dark_grey', 'green', 'blue', 'magenta', 'white', 'transparent',
                                lambda v: v not in ('black', 'white')]),
        ('quality', 'resolution', ['full', 'half', 'quarter']),
        ('vsync', 'vsync', [1]), ('vsync', 'vsync_throttle', [None, 1, 0]), ('vsync', 'vsync_mode', [None] * 3 + [2, 1, 0]),
    ]
    for name, field, values in menus:
        if values is None:
            values = [lambda v: True] * 3
        for index, value in enumerate(values):
            if value is None:
                continue
            if not choose(*button[name], index + 1):
                print(f'{name}: no menu, or it stays', flush=True)
                globals()['failures'] += 1
                continue
            expect(f'menu of {name}, entry {index + 1}', field, value)
    hand_over('--view_channels=rgb', '--stereo_view=left', '--stereo_mode=anaglyph', '--switch_views=0', '--back_color=black',
              '--resolution=full', '--mask_type=transparent', '--safe_area=none', '--apply_transforms_to_mask=0', '--vsync=0',
              '--safe_area_visible=0')


def press_timeline(top):
    """`top` is where the strip begins: options, controls, ruler, rows."""
    ruler = top + 59
    rows = lambda index: top + 74 + 20 * index + 10
    left, right = W // 2 - (W - 90) // 2, W - 45
    hand_over('--timeline=100', '--wa_begin=0', '--wa_end=100', '--time=0', '--frame_base=0')
    scale = (W - 91) / 100
    x = lambda frame: left + round(frame * scale)
    click(x(30), ruler)
    expect('click on the ruler', 'time', 30)
    drag([(x(30), ruler), (x(40), ruler), (x(52), ruler)])
    expect('scrub', 'time', 52)
    drag([(x(52), ruler), (x(60), ruler), (x(60), ruler + 70)])
    expect('scrub out of the band', 'time', 52)
    drag([(x(0) - 2, ruler), (x(10), ruler), (x(20), ruler)])
    expect('start of the work area', 'wa_begin', 20)
    drag([(x(100) + 2, ruler), (x(90), ruler), (x(80), ruler)])
    expect('end of the work area', 'wa_end', 80)
    drag([(x(50), ruler + 3), (x(55), ruler + 3), (x(60), ruler + 3)], button=2)
    expect('work area as a whole', 'wa_begin', 30)
    xdotool('key', 'ctrl+z')
    expect('undo', 'wa_begin', 20)
    drag([(x(100) + 4, ruler - 4), (x(95), ruler), (x(90) + 4, ruler)])
    expect('end of the timeline', 'timeline', 90)
    xdotool('key', 'ctrl+z')
    expect('undo', 'timeline', 100)
    # Fields.
    click(20, ruler)
    xdotool('key', '--delay', 30, 'ctrl+a')
    xdotool('type', '--delay', 30, '29.97')
    xdotool('key', 'Return')
    expect('typed rate', 'fps', 29.97)
    hand_over('--fps=25')
    click(W - 20, ruler)
    xdotool('key', '--delay', 30, 'ctrl+a')
    xdotool('type', '--delay', 30, '200')
    xdotool('key', 'Return')
    expect('typed length', 'timeline', 200)
    hand_over('--timeline=100', '--wa_begin=20', '--wa_end=80')
    for index, value in [(2, 24), (5, 30), (3, 25)]:
        choose(20, ruler, index)
        expect('menu of the rate', 'fps', value)
    for index, field, value in [(2, 'frame_base', 1), (1, 'frame_base', 0), (5, 'timeline', 60)]:
        choose(x(60), ruler, index)
        expect('menu of the ruler', field, value)
    hand_over('--timeline=100', '--wa_begin=0', '--wa_end=100', '--time=70')
    # Rows. The layer "near" is the third.
    hand_over("--'near':begin=10")
    middle = lambda: x(10 + 12)
    click(x(22), rows(2))
    expect('click on a bar', 'selection', 3)
    time.sleep(0.6)  # a press after a click would be a double click
    drag([(x(22), rows(2)), (x(30), rows(2)), (x(42), rows(2))])
    expect('bar in time', '3:begin', 30)
    time.sleep(0.6)
    drag([(x(42), rows(2)), (x(42), rows(3)), (x(42), rows(4))])
    expect('bar between rows', '5:name', 'near')
    picture('bar_moved')
    hand_over("--'near':begin=10")
    index = [read(f'{i}:name')[0] for i in range(1, 8)].index('near')
    drag([(x(34) - 2, rows(index)), (x(30), rows(index)), (x(28) - 2, rows(index))])
    expect('out point', f'{index + 1}:out_point', 18)
    drag([(x(10) + 2, rows(index)), (x(12), rows(index)), (x(14) + 2, rows(index))])
    expect('in point', f'{index + 1}:in_point', 4)
    # The start of the bar comes to lie on the time cursor.
    hand_over('--timeline=400')
    drag([(x(5), rows(index)), (x(10), rows(index)), (x(17.5), rows(index)), (x(18.25), rows(index))], modifiers=['ctrl'])
    expect('snap to the cursor', f'{index + 1}:begin', 66)
    hand_over('--timeline=100')
    click(x(75), rows(index), modifiers=['ctrl'])
    expect('Ctrl takes it from the selection', 'selection', 'none')
    time.sleep(0.6)
    click(x(75), rows(index))
    click(x(5), rows(6), modifiers=['shift'])
    expect('Shift takes all between', 'selection', lambda v: v.endswith('7'))
    click(22, rows(6))
    expect('eye', '7:visible', 0)
    drag([(22, rows(6)), (22, rows(5)), (22, rows(4))])
    expect('eyes painted over', '7:visible', 1)
    click(x(75), rows(index))
    click(W - 35, rows(index), 3)
    picture('menu_modes')
    xdotool('key', '--delay', 30, 'Down', 'Down', 'Return')
    expect('menu of modes', f'{index + 1}:blend', 'add')
    time.sleep(0.6)
    click(x(75), rows(index), 3)
    wait_for(lambda: len(windows()) > 1)
    picture('menu_layer')
    xdotool('key', 'Escape')
    time.sleep(0.6)
    click(x(75), rows(index), times=2)
    expect('double click', 'property_panel_visible', 1)
    picture('panel')
    time.sleep(0.6)
    click(x(75), rows(index), times=2)
    expect('double click', 'property_panel_visible', 0)
    # More layers than rows. The lower arrow of the scroll bar goes on while it is held, and so do rows below which a bar
    # is held.
    hand_over('--stack_rows=3', '--selection=1')
    time.sleep(0.5)
    top = H - 74 - 60
    xdotool('mousemove', *place(W - 6, H - 5), 'mousedown', 1)
    time.sleep(1.5)
    picture('scroll_bar')
    xdotool('mouseup', 1)
    click(5, top + 84)
    expect('held arrow', 'selection', 5)
    hand_over('--selection=1', "--1:begin=0", "--1:out_point=100")
    time.sleep(0.7)
    drag([(x(20), top + 84), (x(20), top + 104), (x(20), H + 12)], hold=1.5)
    expect('bar beyond the rows', '7:name', 'look')


def press_full_screen():
    """The transport that floats over the picture while the timeline is hidden."""
    width, height = 1600, 1200
    hand_over('--time=0', '--repeat=loop')

    def is_wide():
        return f'WIDTH={width}\n' in xdotool('getwindowgeometry', '--shell', window)

    def expect_wide(what, wanted):
        if not wait_for(lambda: is_wide() == wanted):
            print(what, 'leaves the window at', xdotool('getwindowgeometry', window), flush=True)
            globals()['failures'] += 1
    xdotool('mousemove', *place(300, 200), 'key', 'F11')
    expect_wide('F11', True)

    def press(index):
        xdotool('mousemove', width // 2 - 132 + 44 * index, height - 36, 'click', 1)
    for name, index, field, value in [('last', 5, 'time', 99), ('prev', 1, 'time', 98), ('next', 4, 'time', 99),
                                      ('first', 0, 'time', 0), ('play', 3, 'playing', 1), ('pause', 3, 'playing', 0),
                                      ('play back', 2, 'forward', 0), ('pause', 2, 'playing', 0),
                                      ('repeat', 6, 'repeat', 'none')]:
        press(index)
        expect('floating ' + name, field, value)
        picture_of_screen('floating_' + name)
    hand_over('--time=0', '--repeat=loop')
    xdotool('mousemove', 300, 200, 'sleep', 0.3)
    picture_of_screen('full_screen')
    xdotool('key', 'Escape')
    expect_wide('Escape', False)


try:
    shutil.copytree(project + '/examples', home + '/examples')
    with open(home + '/examples/first_look.ksncmd') as source, open(home + '/window.ksncmd', 'w') as target:
        for line in source:
            if not re.match('--(exit|save_mask|print)', line):
                target.write(line.replace('%{cmdfile:folder}', '%{cmdfile:folder}/examples'))
    errors = open(home + '/errors', 'w+')
    kestrin = subprocess.Popen([program, 'window.ksncmd', f'--window_size={W},{H}', '--time=0'], env=environment, cwd=home,
                               stdout=errors, stderr=errors)
    wait_for(lambda: xdotool('search', '--onlyvisible', '--pid', kestrin.pid, '--name', 'Kestrin') != '', 30)
    window = xdotool('search', '--onlyvisible', '--pid', kestrin.pid, '--name', 'Kestrin').split()[0]
    xdotool('windowmove', window, 0, 0, 'windowfocus', window)
    time.sleep(1)
    geometry = dict(line.split('=') for line in xdotool('getwindowgeometry', '--shell', window).splitlines())
    # The menu bar stands above the client area.
    client = (int(geometry['X']), int(geometry['Y']) + int(geometry['HEIGHT']) - H)
    rows = int(read('stack_rows')[0])
    split = H - 74 - 20 * min(rows, 7)
    names = ['stereo', 'r', 'g', 'b', 'a', 'l', 'z', 'properties', 'safe', 'grid', 'back', 'vsync', 'quality', 'server', 'ext']
    button = {name: (W // 2 - 140 + 20 * i, split + 12) for i, name in enumerate(names)}
    transport = {name: (W // 2 - 81 + 27 * i, split + 35)
                 for i, name in enumerate(['first', 'prev', 'back', 'forward', 'next', 'last', 'repeat'])}
    picture('start')
    press_buttons(button, split, transport)
    press_menus(button)
    press_timeline(split)
    press_full_screen()
    picture('end')
    hand_over('--exit')
    kestrin.wait(10)
finally:
    errors.seek(0)
    for line in errors.read().splitlines():
        if not re.match('The HTTP server|(global|[0-9]+):', line):
            print('told:', line)
    if 'kestrin' in globals() and kestrin.poll() is None:
        kestrin.kill()
    server.kill()
    server.wait()
    shutil.rmtree(home, ignore_errors=True)
print(f'{presses} fields read after a press, {failures} of them not as they should be')
sys.exit(failures > 0)
