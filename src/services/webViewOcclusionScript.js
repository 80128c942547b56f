function (occludeAllTextFields) {
  // Defines window.occludeZervaElements when the page lacks it, then answers through it.
  // The answer lists [x, y, width, height], in CSS pixels of the viewport, of every shown
  // element that is a password input, is marked sensitive (attribute data-zerva-sensitive or
  // class zerva-sensitive) or, when asked, is a text input or text area. ES5 only: this runs in
  // every engine a page may have.
  var w = window;
  if (typeof w.occludeZervaElements !== 'function') {
    w.occludeZervaElements = function (allTextFields) {
      var textInputTypes = { text: true, email: true, tel: true, number: true, search: true, url: true };

      function isSensitive(el) {
        if (el.hasAttribute('data-zerva-sensitive') || el.classList.contains('zerva-sensitive')) return true;
        var tag = String(el.tagName).toLowerCase();
        if (tag === 'input') {
          var type = String(el.type || 'text').toLowerCase();
          return type === 'password' || (allTextFields === true && textInputTypes[type] === true);
        }
        return tag === 'textarea' && allTextFields === true;
      }

      // What is on screen counts, whatever hid the rest: a display: none anywhere up the tree
      // (the hidden attribute's usual effect) or a computed visibility that hides it.
      function isShown(el) {
        var visibility = w.getComputedStyle(el).visibility;
        if (visibility === 'hidden' || visibility === 'collapse') return false;
        for (var node = el; node && node.nodeType === 1; node = node.parentElement) {
          if (w.getComputedStyle(node).display === 'none') return false;
        }
        return true;
      }

      var candidates = document.querySelectorAll('input, textarea, [data-zerva-sensitive], .zerva-sensitive');
      var rects = [];
      for (var i = 0; i < candidates.length; i++) {
        var el = candidates[i];
        if (!isSensitive(el) || !isShown(el)) continue;
        var r = el.getBoundingClientRect();
        if (r.width > 0 && r.height > 0) rects.push([r.left, r.top, r.width, r.height]);
      }
      return rects;
    };
  }
  return w.occludeZervaElements(occludeAllTextFields === true);
}
