function (occludeAllTextFields) {
  // Answers through its own function, and leaves it as window.occludeZervaElements where the page
  // lacks one. It never calls the page's own: that one may be broken (it is asked by name first,
  // and this script is what is sent once that call has failed).
  // The answer lists [x, y, width, height] of every shown element that is a password input, is
  // marked sensitive (attribute data-zerva-sensitive or class zerva-sensitive) or, when asked,
  // is a text input, a text area or an editable element (contenteditable). Boxes are in what the
  // web view shows: points from its top-left corner, after pinch zoom and pan (the visual
  // viewport). Open shadow roots and same-origin frames are searched too. ES5 only: this runs
  // in every engine a page may have.
  var w = window;
  var answer = function (allTextFields) {
    var textInputTypes = { text: true, email: true, tel: true, number: true, search: true, url: true };
    var selector = 'input, textarea, [data-zerva-sensitive], .zerva-sensitive' +
        (allTextFields === true ? ', [contenteditable]' : '');

    function isEditable(el) {
      if (typeof el.isContentEditable === 'boolean') return el.isContentEditable;
      var value = el.getAttribute('contenteditable');
      if (value === null) return false;
      value = String(value).toLowerCase();
      return value === '' || value === 'true' || value === 'plaintext-only';
    }

    function isSensitive(el) {
      if (el.hasAttribute('data-zerva-sensitive') || el.classList.contains('zerva-sensitive')) return true;
      if (allTextFields !== true) {
        return String(el.tagName).toLowerCase() === 'input' && String(el.type || '').toLowerCase() === 'password';
      }
      var tag = String(el.tagName).toLowerCase();
      if (tag === 'input') {
        var type = String(el.type || 'text').toLowerCase();
        return type === 'password' || textInputTypes[type] === true;
      }
      if (tag === 'textarea') return true;
      // An editor counts once, by its outermost editable element.
      return isEditable(el) && !(el.parentElement && isEditable(el.parentElement));
    }

    // The element's parent, across a shadow root to its host.
    function up(node) {
      if (node.parentElement) return node.parentElement;
      var parent = node.parentNode;
      return parent && parent.nodeType === 11 && parent.host ? parent.host : null;
    }

    // What is on screen counts, whatever hid the rest: a display: none anywhere up the tree
    // (the hidden attribute's usual effect) or a computed visibility that hides it.
    function isShown(el, view) {
      var visibility = view.getComputedStyle(el).visibility;
      if (visibility === 'hidden' || visibility === 'collapse') return false;
      for (var node = el; node && node.nodeType === 1; node = up(node)) {
        if (view.getComputedStyle(node).display === 'none') return false;
      }
      return true;
    }

    var rects = [];
    // The visual viewport: where the shown part of the page starts, and its zoom.
    var vv = w.visualViewport;
    var scale = vv && vv.scale > 0 ? vv.scale : 1;
    var panX = vv ? vv.offsetLeft || 0 : 0;
    var panY = vv ? vv.offsetTop || 0 : 0;

    // Collects from one document or shadow root. (dx, dy) moves its boxes into the top
    // document's layout viewport; clip (in those coordinates) is the frame's visible box.
    function collect(root, view, dx, dy, clip) {
      var found = root.querySelectorAll(selector);
      for (var i = 0; i < found.length; i++) {
        var el = found[i];
        if (!isSensitive(el) || !isShown(el, view)) continue;
        var r = el.getBoundingClientRect();
        var left = r.left + dx, top = r.top + dy, right = left + r.width, bottom = top + r.height;
        if (clip) {
          left = Math.max(left, clip[0]);
          top = Math.max(top, clip[1]);
          right = Math.min(right, clip[2]);
          bottom = Math.min(bottom, clip[3]);
        }
        if (right - left > 0 && bottom - top > 0) {
          rects.push([(left - panX) * scale, (top - panY) * scale, (right - left) * scale, (bottom - top) * scale]);
        }
      }
      var all = root.querySelectorAll('*');
      for (var k = 0; k < all.length; k++) {
        var host = all[k];
        if (host.shadowRoot) collect(host.shadowRoot, view, dx, dy, clip);
        var tag = String(host.tagName).toLowerCase();
        if (tag === 'iframe' || tag === 'frame') collectFrame(host, view, dx, dy, clip);
      }
    }

    function collectFrame(frame, view, dx, dy, clip) {
      var doc = null;
      try {
        doc = frame.contentDocument;  // null, or a throw, for another origin
      } catch (e) {
        doc = null;
      }
      if (!doc || !doc.documentElement || !isShown(frame, view)) return;
      var r = frame.getBoundingClientRect();
      var style = view.getComputedStyle(frame);
      // The frame's content starts inside its border and padding.
      var left = r.left + dx + (frame.clientLeft || 0) + (parseFloat(style.paddingLeft) || 0);
      var top = r.top + dy + (frame.clientTop || 0) + (parseFloat(style.paddingTop) || 0);
      var inner = [left, top, left + (frame.clientWidth || 0) - (parseFloat(style.paddingLeft) || 0) -
          (parseFloat(style.paddingRight) || 0), top + (frame.clientHeight || 0) -
          (parseFloat(style.paddingTop) || 0) - (parseFloat(style.paddingBottom) || 0)];
      if (clip) {
        inner = [Math.max(inner[0], clip[0]), Math.max(inner[1], clip[1]), Math.min(inner[2], clip[2]),
          Math.min(inner[3], clip[3])];
      }
      if (inner[2] <= inner[0] || inner[3] <= inner[1]) return;
      collect(doc, doc.defaultView || view, left, top, inner);
    }

    collect(document, w, 0, 0, null);
    return rects;
  };
  if (typeof w.occludeZervaElements !== 'function') w.occludeZervaElements = answer;
  return answer(occludeAllTextFields === true);
}
